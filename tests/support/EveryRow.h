#pragma once

#include "Kal/QFFT/CpuFeature.h"

#include <gtest/gtest.h>

namespace kal::test {

/// Runs a suite's tests with every row of kernels that this processor has:
///     class Suite : public test::EveryRow {};
///     INSTANTIATE_TEST_SUITE_P(Rows, Suite, test::kEveryRow, test::NameOfRow);
class EveryRow : public testing::TestWithParam<qfft::cpu::KernelRow> {
protected:
    EveryRow() { qfft::cpu::SelectRow(GetParam()); }
    ~EveryRow() override { qfft::cpu::SelectRow(selectedBefore); }

private:
    const qfft::cpu::KernelRow selectedBefore = qfft::cpu::SelectedRow();
};

inline const auto kEveryRow = testing::ValuesIn(qfft::cpu::UsableRows());

inline std::string NameOfRow(const testing::TestParamInfo<qfft::cpu::KernelRow>& row)
{
    return qfft::cpu::NameOf(row.param);
}

} // namespace kal::test

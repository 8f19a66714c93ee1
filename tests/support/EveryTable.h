#pragma once

#include "Kal/QFFT/CpuFeature.h"

#include <gtest/gtest.h>

namespace kal::test {

/// Runs a suite's tests with every kernel table that this processor can run:
///     class Suite : public test::EveryTable {};
///     INSTANTIATE_TEST_SUITE_P(Tables, Suite, test::kEveryTable, test::NameOfTable);
class EveryTable : public testing::TestWithParam<qfft::cpu::InstructionSet> {
protected:
    EveryTable() { qfft::cpu::SelectInstructionSet(GetParam()); }
    ~EveryTable() override { qfft::cpu::SelectInstructionSet(selectedBefore); }

private:
    const qfft::cpu::InstructionSet selectedBefore = qfft::cpu::ActiveInstructionSet();
};

inline const auto kEveryTable = testing::ValuesIn(qfft::cpu::UsableInstructionSets());

inline std::string NameOfTable(const testing::TestParamInfo<qfft::cpu::InstructionSet>& set)
{
    return qfft::cpu::NameOf(set.param);
}

} // namespace kal::test

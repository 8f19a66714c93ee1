#include "Kal/QFFT/CpuFeature.h"

#include <atomic>

namespace qfft::cpu {
namespace {

std::atomic<KernelRow>& Selection()
{
    static std::atomic<KernelRow> selection = UsableRows().back();
    return selection;
}

} // namespace

bool Supports(FeatureLevel)
{
    return true;
}

std::vector<KernelRow> UsableRows()
{
    std::vector<KernelRow> rows = {KernelRow::Generic, KernelRow::Sse2};
    // In a 32-bit program all SSE code runs up to four times slower once 8-lane code has run.
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) rows.push_back(KernelRow::Avx2);
#endif
    return rows;
}

KernelRow SelectedRow()
{
    return Selection();
}

void SelectRow(KernelRow row)
{
    Selection() = row;
}

} // namespace qfft::cpu

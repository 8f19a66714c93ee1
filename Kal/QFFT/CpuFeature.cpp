#include "Kal/QFFT/CpuFeature.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace qfft::cpu {
namespace {

KernelRow FirstRow()
{
    const std::vector<KernelRow> rows = UsableRows();
    // NOLINTNEXTLINE(concurrency-mt-unsafe): read once, when the first transform is planned
    if (const char* wanted = std::getenv("KALMARBLE_KERNELS"))
        for (const KernelRow row : rows)
            if (std::strcmp(wanted, NameOf(row)) == 0) return row;
    return rows.back();
}

std::atomic<KernelRow>& Selection()
{
    static std::atomic<KernelRow> selection = FirstRow();
    return selection;
}

} // namespace

bool Supports(FeatureLevel)
{
    return true;
}

const char* NameOf(KernelRow row)
{
    static constexpr const char* names[] = {"Generic", "SSE2", "AVX2"};
    return names[static_cast<int>(row)];
}

std::vector<KernelRow> UsableRows()
{
    std::vector<KernelRow> rows = {KernelRow::Generic, KernelRow::Sse2};
    // In a 32-bit program all SSE code runs up to four times slower once 8-lane code has run, and its eight registers
    // are too few for wide lanes anyway.
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) rows.push_back(KernelRow::Avx2);
#endif
    return rows;
}

KernelRow SelectedRow()
{
    return Selection().load(std::memory_order_relaxed);
}

void SelectRow(KernelRow row)
{
    Selection().store(row, std::memory_order_relaxed);
}

} // namespace qfft::cpu

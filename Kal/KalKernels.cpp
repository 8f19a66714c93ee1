#include "Kal/KalKernels.h"

#include "Kal/KalKernelRows.h"

#include <atomic>

namespace kal::kernels {

namespace {

std::atomic<const Row*>& Selection()
{
    static std::atomic<const Row*> selection = UsableRows().back();
    return selection;
}

} // namespace

std::vector<const Row*> UsableRows()
{
    std::vector<const Row*> rows{&kSse2Row};
    // In a 32-bit program all SSE code runs up to four times slower once 8-lane code has run, and its eight registers
    // are too few for wide lanes anyway.
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx2")) rows.push_back(&kAvx2Row);
#endif
    return rows;
}

const Row& SelectedRow()
{
    return *Selection().load(std::memory_order_relaxed);
}

void SelectRow(const Row& row)
{
    Selection().store(&row, std::memory_order_relaxed);
}

} // namespace kal::kernels

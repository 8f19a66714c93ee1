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
    if (__builtin_cpu_supports("avx2")) rows.push_back(&kAvx2Row);
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

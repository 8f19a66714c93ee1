#pragma once

#include <algorithm>
#include <atomic>
#include <vector>

namespace kal {

/// Items that the workers of a job take a few at a time. Each begins with a share of its own, so that block after block
/// it finds what it worked on in its own cache, and goes on with what the others have left. So whoever is late costs
/// nothing, and nobody waits for more than one claim.
class WorkShares {
public:
    /// [control]
    explicit WorkShares(unsigned maxNumWorkers) : shares(maxNumWorkers) {}

    /// [render] Deals items 0 ... numItems - 1, in order, to the first numWorkers workers before any of them begins.
    /// @param headStart items that worker 0 gets less than the others
    void Deal(unsigned numItems, unsigned numWorkers, unsigned headStart = 0)
    {
        const unsigned share = (numItems + headStart + numWorkers - 1) / numWorkers;
        unsigned first = 0;
        for (unsigned w = 0; w < shares.size(); ++w) {
            const unsigned end =
                w < numWorkers ? std::min(numItems, std::max((w + 1) * share, headStart) - headStart) : numItems;
            shares[w].next.store(first, std::memory_order_relaxed);
            shares[w].end = end;
            first = end;
        }
    }

    /// [render] Calls work(first, end) for claims of at most `claim` items until none is left. Any workers at once.
    template<class Work>
    void Take(unsigned worker, unsigned claim, Work work) noexcept
    {
        for (unsigned i = 0; i < shares.size(); ++i) {
            Share& share = shares[(worker + i) % shares.size()];
            unsigned first;
            while ((first = share.next.fetch_add(claim, std::memory_order_relaxed)) < share.end)
                work(first, std::min(first + claim, share.end));
        }
    }

private:
    struct alignas(64) Share {
        std::atomic<unsigned> next{0};
        unsigned end = 0;
    };

    std::vector<Share> shares;
};

} // namespace kal

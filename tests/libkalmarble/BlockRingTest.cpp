#include "libkalmarble/BlockRing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

namespace kalmarble::test {
namespace {

// A block or the failure to make one is read or, if it is of another size, dropped for the next one.
TEST(BlockRing, DropsWhatIsOfAnotherSize)
{
    struct Case {
        bool isFailure;
        std::size_t count, asked;
        bool isDropped;
    };
    for (const Case c : {Case{false, 100, 100, false},
                         {false, 100, 64, true},
                         {false, 64, 1000, true},
                         {true, 100, 100, false},
                         {true, 1000, 64, true},
                         {true, 0, 64, true}}) {
        SCOPED_TRACE(testing::Message() << c.isFailure << ' ' << c.count << ' ' << c.asked);
        BlockRing ring;
        ring.Reserve(std::max(c.count, c.asked));
        if (c.isFailure)
            ring.Fail(c.count, std::make_exception_ptr(std::length_error("too long")));
        else
            ring.Write(std::vector<float>(c.count, 1.0f));
        std::thread writer([&] {
            ring.WaitForTurn();
            ring.Reserve(c.asked); // a failure has given the room back
            ring.Write(std::vector<float>(c.asked, 2.0f));
        });
        std::vector<float> read(c.asked);
        if (c.isFailure && !c.isDropped) {
            EXPECT_THROW(ring.Read(read.data(), c.asked), std::length_error);
        } else {
            ring.Read(read.data(), c.asked);
            EXPECT_EQ(read, std::vector<float>(c.asked, c.isDropped ? 2.0f : 1.0f));
        }
        writer.join();
    }
}

// A renderer whose failure nobody reads can still end.
TEST(BlockRing, LetsGoOfAFailureThatWaitsWhenItCloses)
{
    BlockRing ring;
    ring.Fail(64, std::make_exception_ptr(std::length_error("too long")));
    ring.Close();
    ring.WaitForTurn();
}

} // namespace
} // namespace kalmarble::test

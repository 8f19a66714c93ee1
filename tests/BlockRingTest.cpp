#include "libkalmarble/BlockRing.h"

#include <gtest/gtest.h>

#include <numeric>
#include <stdexcept>
#include <thread>

namespace kalmarble::test {
namespace {

// Numbers that go on from block to block.
std::vector<float> NextBlock(std::size_t count, float& next)
{
    std::vector<float> block(count);
    std::iota(block.begin(), block.end(), next);
    next += static_cast<float>(count);
    return block;
}

TEST(BlockRing, HandsOverBlocksOfEverySizeWhole)
{
    BlockRing ring;
    float next = 0.0f;
    for (const std::size_t count : {1024u, 128u, 200u, 512u, 882u, 2000u, 960u, 1u, 1023u, 5000u}) {
        SCOPED_TRACE(count);
        for (int i = 0; i < 7; ++i) { // so that blocks lie across the ring's end
            ring.WaitForTurn();
            const auto block = NextBlock(count, next);
            ring.Write({}); // no block
            ring.Write(block);
            std::vector<float> read(count + 1, -1.0f);
            ring.Read(read.data(), count);
            ring.Read(read.data() + count, 0); // waits for nothing
            ASSERT_EQ(read.back(), -1.0f);
            read.pop_back();
            ASSERT_EQ(read, block);
        }
    }
}

enum class Event { Block, Failure };

// What a writer has handed over is read, or dropped because it is of another size.
TEST(BlockRing, DropsWhatIsOfAnotherSize)
{
    struct Case {
        Event event;
        std::size_t count, asked;
        bool isDropped;
    };
    for (const Case c : {Case{Event::Block, 100, 100, false},
                         {Event::Block, 100, 64, true},
                         {Event::Block, 64, 1000, true},
                         {Event::Failure, 100, 100, false},
                         {Event::Failure, 1000, 64, true},
                         {Event::Failure, 0, 64, true}}) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(c.event) << ' ' << c.count << ' ' << c.asked);
        BlockRing ring;
        if (c.event == Event::Block)
            ring.Write(std::vector<float>(c.count, 1.0f));
        else
            ring.Fail(c.count, std::make_exception_ptr(std::length_error("too long")));
        std::thread writer([&] {
            ring.WaitForTurn();
            ring.Write(std::vector<float>(c.asked, 2.0f));
        });
        std::vector<float> read(c.asked);
        if (c.event == Event::Failure && !c.isDropped) {
            EXPECT_THROW(ring.Read(read.data(), c.asked), std::length_error);
        } else {
            ring.Read(read.data(), c.asked);
            EXPECT_EQ(read, std::vector<float>(c.asked, c.isDropped ? 2.0f : 1.0f));
        }
        writer.join(); // a block that was read or dropped, or a failure, gave the turn back
    }
}

TEST(BlockRing, LetsTheWriterGoOnWhenItCloses)
{
    for (const int waiting : {0, 1, 2}) {
        SCOPED_TRACE(waiting);
        BlockRing ring;
        if (waiting == 1) ring.Write({1.0f, 2.0f});
        if (waiting == 2) ring.Fail(2, std::make_exception_ptr(std::length_error("too long")));
        std::thread writer([&] { ring.WaitForTurn(); });
        ring.Close();
        writer.join();
    }
}

} // namespace
} // namespace kalmarble::test

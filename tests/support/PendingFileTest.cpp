#include "tools/support/PendingFile.h"

#include "tests/support/Program.h"
#include "tools/support/Cli.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/stat.h>

namespace kal::test {
namespace {

TEST(PendingFile, AppearsWhenCompleteAndGoesWithTheProgram)
{
    const Folder folder;
    const auto raise = [&](int signal) {
        tools::PendingFile first(folder / "first");
        tools::PendingFile second(folder / "second");
        first.Write("something");
        std::raise(signal);
    };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        EXPECT_EXIT(raise(signal), testing::KilledBySignal(signal), "");
    EXPECT_EQ(folder.NumFiles(), 0u);
    {
        tools::PendingFile kept(folder / std::string(255, 'x'));
        tools::PendingFile dropped(folder / "dropped");
        EXPECT_EQ(folder.NumFiles(), 2u);
        kept.Write("all of it");
        kept.Commit();
    }
    EXPECT_EQ(folder.NumFiles(), 1u);
    EXPECT_EQ(ReadFile(folder / std::string(255, 'x')), "all of it");
}

TEST(PendingFile, IsCopiedToWhatIsNoFile)
{
    const Folder folder;
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const Outcome outcome = RunProgram(
        "cat " + pipe + " & " KALRENDER " -q -f wav " KAL_SOURCE_DIR "/scenes/flyover.json -o " + pipe + "; wait");
    EXPECT_EQ(outcome.out.substr(0, 4), "RIFF") << outcome.error;
    EXPECT_THROW(tools::WriteFile("/dev/full", "x"), tools::Failure);
    EXPECT_THROW(tools::WriteFile(folder / "", "x"), tools::Failure);
    EXPECT_THROW(tools::PendingFile(folder / std::string(256, 'x')), tools::Failure);
}

} // namespace
} // namespace kal::test

#include "Kal/KalEngine.h"

#include <gtest/gtest.h>

#include <system_error>

// Where there are no threads: the first worker is whoever renders.
TEST(NoWorkers, LeaveAnEngineOneAndRefuseAnother)
{
    EXPECT_NO_THROW(std::make_shared<kal::Engine>(kal::EngineParam{48000.0, 2, 1, nullptr, 0}));
    EXPECT_THROW(std::make_shared<kal::Engine>(kal::EngineParam{48000.0, 2, 2, nullptr, 0}), std::system_error);
}

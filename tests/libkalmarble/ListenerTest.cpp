#include "libkalmarble/Listener.h"

#include <gtest/gtest.h>

namespace kalmarble::test {
namespace {

using kal::Vector3;

TEST(Listener, SeesTheWorldAlongItsOwnAxes)
{
    struct Case {
        const char* what;
        Vector3 eye, front, up, seen;
    };
    const Vector3 sound = {3, 5, 7};
    EXPECT_EQ(Listener().ToListener(sound).x, 0.0f); // before it has a place
    for (const Case& c : {
             Case{"looks along -z", {}, {0, 0, -1}, {0, 1, 0}, {3, 5, -7}},
             {"from elsewhere", {1, 1, 1}, {0, 0, -1}, {0, 1, 0}, {2, 4, -6}},
             {"looks along +z", {}, {0, 0, 1}, {0, 1, 0}, {-3, 5, 7}},
             {"looks along x, upside down", {}, {1, 0, 0}, {0, -1, 0}, {-7, -5, 3}},
             {"looks up", {}, {0, 1, 0}, {0, 0, 1}, {3, 7, 5}},
             {"front is used as given", {}, {0, 0, -2}, {0, 1, 0}, {3, 5, -14}},
             {"up is made perpendicular and of unit length", {}, {0, 0, -1}, {0, 8, 6}, {3, 5, -7}},
         }) {
        SCOPED_TRACE(c.what);
        Listener listener;
        listener.Place(c.eye, c.front, c.up);
        const Vector3 seen = listener.ToListener(sound);
        EXPECT_FLOAT_EQ(seen.x, c.seen.x);
        EXPECT_FLOAT_EQ(seen.y, c.seen.y);
        EXPECT_FLOAT_EQ(seen.z, c.seen.z);
    }
}

} // namespace
} // namespace kalmarble::test

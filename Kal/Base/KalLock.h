#pragma once

// Mutex and Condition: the lock and the sleep that everything on the way of a block uses, with the members of
// std::mutex and std::condition_variable as far as they are needed. std::lock_guard and std::unique_lock take either.
#ifdef _WIN32
#include "Kal/Base/KalLockWindows.h"
#else
#include "Kal/Base/KalLockPosix.h"
#endif

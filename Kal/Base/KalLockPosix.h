#pragma once

#include <condition_variable>
#include <mutex>

namespace kal {

using Mutex = std::mutex;
using Condition = std::condition_variable;

} // namespace kal

#include "Kal/Base/KalThread.h"

#include <system_error>

// Where there are no threads but the host's own.

namespace kal {

struct Thread::State {};

Thread::Thread(std::string name, std::function<void()>)
{
    throw std::system_error(std::make_error_code(std::errc::operation_not_supported), name);
}

void Thread::Join() {}

bool ThreadsAreGone()
{
    return false;
}

} // namespace kal

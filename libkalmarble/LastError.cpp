#include "libkalmarble/LastError.h"

#include <new>

namespace kalmarble {

void LastError::Set(const char* message) noexcept
{
    std::lock_guard lock(mutex);
    try {
        text = message;
    } catch (const std::bad_alloc&) {
        // The host learns of the earlier failure instead.
    }
}

const char* LastError::Get()
{
    std::lock_guard lock(mutex);
    return text.empty() ? nullptr : given.insert(text).first->c_str();
}

} // namespace kalmarble

#include "libkalmarble/LastError.h"

#include <new>

namespace kalmarble {

void LastError::Set(const char* message) noexcept
{
    std::lock_guard lock(mutex);
    try {
        const auto [text, isNew] = texts.emplace(message);
        lackedMemory = false;
        if (text == latest) return;
        if (!isGiven) texts.erase(latest);
        latest = text;
        isGiven = !isNew;
    } catch (const std::bad_alloc&) {
        lackedMemory = true;
    }
}

const char* LastError::Get() noexcept
{
    std::lock_guard lock(mutex);
    if (lackedMemory) return "std::bad_alloc";
    if (latest == texts.end()) return nullptr;
    isGiven = true;
    return latest->c_str();
}

} // namespace kalmarble

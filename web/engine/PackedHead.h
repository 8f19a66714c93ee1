#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace kal::web {

/// [control] The bytes of the data set built into the module, which holds it packed by pack_head.py.
std::vector<unsigned char> BuiltInHead();

/// [control] Calls use(head) with what the caller gave or, for null, with the head built in.
template<class Use>
void WithHead(const unsigned char* bytes, std::size_t size, Use use)
{
    if (bytes) return use(std::span<const unsigned char>(bytes, size));
    const std::vector<unsigned char> head = BuiltInHead();
    use(std::span<const unsigned char>(head));
}

} // namespace kal::web

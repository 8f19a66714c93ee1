#include "OggPages.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <ogg/ogg.h>

namespace kalrender {

std::string WithSerialNumber(std::string ogg, unsigned number)
{
    ogg_sync_state state;
    ogg_sync_init(&state);
    const std::unique_ptr<ogg_sync_state, int (*)(ogg_sync_state*)> owner(&state, ogg_sync_clear);
    std::memcpy(ogg_sync_buffer(&state, static_cast<long>(ogg.size())), ogg.data(), ogg.size());
    ogg_sync_wrote(&state, static_cast<long>(ogg.size()));

    auto out = ogg.begin();
    for (ogg_page page; ogg_sync_pageout(&state, &page) == 1;) {
        for (int i = 0; i < 4; ++i) page.header[14 + i] = static_cast<unsigned char>(number >> (8 * i)); // RFC 3533
        ogg_page_checksum_set(&page);
        out = std::copy_n(page.header, page.header_len, out);
        out = std::copy_n(page.body, page.body_len, out);
    }
    return ogg;
}

} // namespace kalrender

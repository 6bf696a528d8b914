#include "device/gateway/xml_prefixes.h"

namespace
{

bool is_in_name(char byte)
{
    const auto code = static_cast<unsigned char>(byte);
    return (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z') ||
           (code >= '0' && code <= '9') || code == '_' || code == '-' || code == '.' ||
           code >= 0x80;
}

} // namespace

bool xml_prefix_next(std::string_view *rest, std::string_view *name)
{
    size_t colon = rest->find(':');
    while (colon != std::string_view::npos) {
        size_t from = colon;
        while (from > 0 && is_in_name((*rest)[from - 1]))
            from--;
        *name = rest->substr(from, colon - from);
        rest->remove_prefix(colon + 1);
        if (!name->empty())
            return true;
        colon = rest->find(':');
    }
    return false;
}

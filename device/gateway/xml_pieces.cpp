#include "device/gateway/xml_pieces.h"

namespace
{

struct enclosure {
    std::string_view opener;
    std::string_view closer;
    xml_piece_kind kind;
};

constexpr enclosure enclosures[] = {
    {"</", ">", xml_piece_end},
    {"<!--", "-->", xml_piece_aside},
    {"<![CDATA[", "]]>", xml_piece_cdata},
    {"<?", "?>", xml_piece_aside},
};

// After the tag that begins at from; npos: it does not end.
size_t tag_end(std::string_view text, size_t from)
{
    char quote = '\0';
    for (size_t at = from; at < text.size(); at++) {
        if (quote != '\0')
            quote = text[at] == quote ? '\0' : quote;
        else if (text[at] == '>')
            return at + 1;
        else if (text[at] == '"' || text[at] == '\'')
            quote = text[at];
    }
    return std::string_view::npos;
}

size_t markup_end(std::string_view text, xml_piece *piece)
{
    const std::string_view rest = text.substr(piece->from);
    for (const enclosure &each : enclosures) {
        if (!rest.starts_with(each.opener))
            continue;
        piece->kind = each.kind;
        const size_t closer = text.find(each.closer, piece->from + each.opener.size());
        return closer == std::string_view::npos ? closer : closer + each.closer.size();
    }
    const size_t end = rest.starts_with("<!") ? std::string_view::npos : tag_end(text, piece->from);
    const bool is_empty = end != std::string_view::npos && text[end - 2] == '/';
    piece->kind = is_empty ? xml_piece_empty : xml_piece_start;
    return end;
}

bool is_in_name(char byte)
{
    const auto code = static_cast<unsigned char>(byte);
    return (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z') ||
           (code >= '0' && code <= '9') || code == '_' || code == '-' || code == '.' ||
           code >= 0x80;
}

} // namespace

bool xml_piece_next(std::string_view text, size_t *at, xml_piece *piece)
{
    if (*at >= text.size())
        return false;
    *piece = {xml_piece_text, *at, text.find('<', *at)};
    if (piece->end == std::string_view::npos)
        piece->end = text.size();
    if (piece->end == *at)
        piece->end = markup_end(text, piece);
    *at = piece->end;
    return piece->end != std::string_view::npos;
}

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

#include "device/gateway/known_beginning.h"

#include "device/gateway/xml_pieces.h"
#include "device/gateway/xml_walk.h"

namespace
{

bool is_number(std::string_view text)
{
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Whether the root has an id.
bool find_id(std::string_view text, xml_attribute *id)
{
    xml_piece root{};
    for (size_t at = 0; root.kind < xml_piece_start && xml_piece_next(text, &at, &root);)
        continue;
    const size_t name_end = text.find_first_of(" \t\r\n>", root.from);
    return xml_attribute_find(text.substr(name_end, root.end - name_end), "message-id", id);
}

} // namespace

void known_beginning_keep(known_beginning *known, std::string_view beginning)
{
    xml_attribute id{};
    const bool has_id = find_id(beginning, &id);
    const bool is_kept = beginning.size() <= sizeof known->bytes &&
                         (!has_id || (!id.value.empty() && is_number(id.value)));
    known->size = is_kept ? beginning.copy(known->bytes, sizeof known->bytes) : 0;
    known->id_from = has_id ? static_cast<size_t>(id.value.data() - beginning.data()) : 0;
    known->id_size = has_id ? id.value.size() : 0;
}

bool known_beginning_is(const known_beginning *known, std::string_view text)
{
    const std::string_view bytes(known->bytes, known->size);
    const size_t id_end = known->id_from + known->id_size;
    return known->size > 0 && text.size() >= known->size &&
           text.starts_with(bytes.substr(0, known->id_from)) &&
           is_number(text.substr(known->id_from, known->id_size)) &&
           text.substr(id_end, known->size - id_end) == bytes.substr(id_end);
}

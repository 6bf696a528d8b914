#include "device/schemac/help_text.h"

#include <stdint.h>
#include <vector>

#include "device/schemac/text_tools.h"

namespace
{

constexpr size_t longest_description = 200;
constexpr size_t longest_bracket = 600;
constexpr size_t most_values = 12;
constexpr size_t most_descriptions = 4096;

// A list of values, of which the first dozen are shown.
struct value_list {
    const char *separator;
    size_t count;
    std::string text;
};

void add_value(value_list *values, std::string_view value)
{
    values->count++;
    if (values->count > most_values + 1)
        return;
    if (values->count > 1)
        values->text.append(values->separator);
    values->text.append(values->count > most_values ? "\xe2\x80\xa6" : value);
}

// A decimal64 number, which is kept as its digits without the point.
std::string decimal_text(int64_t value, unsigned fraction_digits)
{
    auto magnitude = static_cast<uint64_t>(value);
    std::string digits = std::to_string(value < 0 ? 0 - magnitude : magnitude);
    if (digits.size() <= fraction_digits)
        digits.insert(0, fraction_digits + 1 - digits.size(), '0');
    size_t point = digits.size() - fraction_digits;
    // One digit stays after the point.
    while (digits.size() > point + 1 && digits.back() == '0')
        digits.pop_back();
    digits.insert(point, 1, '.');
    return (value < 0 ? "-" : "") + digits;
}

// The signed integers are the last types of LY_DATA_TYPE.
bool is_signed(const lysc_type *type)
{
    return type->basetype >= LY_TYPE_INT8;
}

bool is_unsigned(const lysc_type *type)
{
    return type->basetype >= LY_TYPE_UINT8 && type->basetype <= LY_TYPE_UINT64;
}

std::string bound_text(const lysc_type *type, const lysc_range::lysc_range_part *part,
                       bool is_upper)
{
    if (type->basetype == LY_TYPE_DEC64)
        return decimal_text(is_upper ? part->max_64 : part->min_64,
                            reinterpret_cast<const lysc_type_dec *>(type)->fraction_digits);
    if (is_signed(type))
        return std::to_string(is_upper ? part->max_64 : part->min_64);
    return std::to_string(is_upper ? part->max_u64 : part->min_u64);
}

std::string range_text(const char *word, const lysc_type *type, const lysc_range *range)
{
    if (range == nullptr)
        return "";
    value_list parts = {" | ", 0, ""};
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(range->parts); i++) {
        std::string lower = bound_text(type, &range->parts[i], false);
        std::string upper = bound_text(type, &range->parts[i], true);
        add_value(&parts, lower == upper ? lower : lower.append("..").append(upper));
    }
    return std::string(", ").append(word).append(" ").append(parts.text);
}

std::string names_text(const char *separator, const lysc_type_bitenum_item *items)
{
    value_list values = {separator, 0, ""};
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(items); i++)
        add_value(&values, items[i].name);
    return ": " + values.text;
}

// Identities form a graph: one that is derived in two ways is shown once.
void add_identities(value_list *values, const lysc_ident *base,
                    std::vector<const lysc_ident *> *seen)
{
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(base->derived); i++) {
        const lysc_ident *identity = base->derived[i];
        if (values->count > most_values)
            return;
        bool is_new = true;
        for (const lysc_ident *known : *seen)
            is_new = is_new && known != identity;
        if (is_new) {
            seen->push_back(identity);
            add_value(values, std::string(identity->module->name) + ":" + identity->name);
            add_identities(values, identity, seen);
        }
    }
}

std::string identities_text(const lysc_type_identityref *type)
{
    value_list values = {" | ", 0, ""};
    std::vector<const lysc_ident *> seen;
    if (LY_ARRAY_COUNT(type->bases) == 1)
        add_identities(&values, type->bases[0], &seen);
    return values.count > 0 ? ": " + values.text : "";
}

// What a type demands of its values, to be written after its name: nothing, or
// a text that begins with ": " or ", ".
std::string constraint_text(const lysc_type *type)
{
    if (is_signed(type) || is_unsigned(type))
        return range_text("range", type, reinterpret_cast<const lysc_type_num *>(type)->range);
    switch (type->basetype) {
    case LY_TYPE_DEC64:
        return range_text("range", type, reinterpret_cast<const lysc_type_dec *>(type)->range);
    case LY_TYPE_STRING:
        return range_text("length", type, reinterpret_cast<const lysc_type_str *>(type)->length);
    case LY_TYPE_BINARY:
        return range_text("length", type, reinterpret_cast<const lysc_type_bin *>(type)->length);
    case LY_TYPE_ENUM:
        return names_text(" | ", reinterpret_cast<const lysc_type_enum *>(type)->enums);
    case LY_TYPE_BITS:
        return names_text(" ", reinterpret_cast<const lysc_type_bits *>(type)->bits);
    case LY_TYPE_IDENT:
        return identities_text(reinterpret_cast<const lysc_type_identityref *>(type));
    case LY_TYPE_LEAFREF:
        return constraint_text(reinterpret_cast<const lysc_type_leafref *>(type)->realtype);
    default:
        return "";
    }
}

// In the order of LY_DATA_TYPE. The first is that of a type which libyang leaves unset: a leaf's
// boolean that has a name, a default and units is no copy of what has the name, as all others are.
constexpr const char *base_type_names[] = {"boolean",     "binary",
                                           "uint8",       "uint16",
                                           "uint32",      "uint64",
                                           "string",      "bits",
                                           "boolean",     "decimal64",
                                           "empty",       "enumeration",
                                           "identityref", "instance-identifier",
                                           "leafref",     "union",
                                           "int8",        "int16",
                                           "int32",       "int64"};
static_assert(sizeof base_type_names / sizeof base_type_names[0] == LY_DATA_TYPE_COUNT);

std::string member_text(const char *name, const lysc_type *type)
{
    std::string constraint = constraint_text(type);
    return constraint.empty() ? name : std::string(name) + " (" + constraint.substr(2) + ")";
}

// The members of a union that is written out where it is used.
std::string members_text(const lysp_type *written, const lysc_type_union *type)
{
    // The compiled type is flat: with a union within the union they differ.
    bool is_flat = LY_ARRAY_COUNT(written->types) == LY_ARRAY_COUNT(type->types);
    value_list members = {" or ", 0, ""};
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(written->types); i++) {
        const char *name = written->types[i].name;
        add_value(&members, is_flat ? member_text(name, type->types[i]) : name);
    }
    return ": " + members.text;
}

std::string type_text(const lysp_type *written, const lysc_type *type)
{
    if (written == nullptr)
        return base_type_names[type->basetype] + constraint_text(type);
    std::string text = written->name;
    if (type->basetype == LY_TYPE_UNION && written->types != nullptr)
        return text + members_text(written, reinterpret_cast<const lysc_type_union *>(type));
    return text + constraint_text(type);
}

std::string default_text(const lysc_node *node, const lyd_value *value)
{
    const char *text = lyd_value_get_canonical(node->module->ctx, value);
    return text == nullptr || text[0] == '\0' ? " \"\"" : std::string(" ") + text;
}

// What is told of a leaf or leaf-list with these defaults.
std::string value_text(const type_names *names, const lysc_node *node, const lysc_type *type,
                       const char *units, lyd_value *const *defaults, size_t count)
{
    std::string text = type_text(type_names_find(names, node), type);
    if (units != nullptr)
        text.append(", units ").append(units);
    for (size_t i = 0; i < count; i++)
        text.append(i == 0 ? ", default" : "").append(default_text(node, defaults[i]));
    return text;
}

std::string leaf_text(const type_names *names, const lysc_node *node)
{
    const auto *leaf = reinterpret_cast<const lysc_node_leaf *>(node);
    const std::string text = value_text(names, node, leaf->type, leaf->units, &leaf->dflt,
                                        leaf->dflt != nullptr ? 1 : 0);
    return text + ((node->flags & LYS_MAND_TRUE) != 0 ? ", mandatory" : "");
}

std::string leaf_list_text(const type_names *names, const lysc_node *node)
{
    const auto *leaf_list = reinterpret_cast<const lysc_node_leaflist *>(node);
    const std::string text =
        value_text(names, node, leaf_list->type, leaf_list->units, leaf_list->dflts,
                   static_cast<size_t>(LY_ARRAY_COUNT(leaf_list->dflts)));
    return text + (leaf_list->min > 0 ? ", mandatory" : "");
}

std::string keys_text(const lysc_node *node)
{
    std::string text;
    size_t count = 0;
    for (const lysc_node *key = lysc_node_child(node); lysc_is_key(key); key = key->next) {
        text.append(count == 0 ? "" : ", ").append(key->name);
        count++;
    }
    return count == 0 ? "" : (count == 1 ? "key " : "keys ") + text;
}

const std::string &description_line(help_maker *maker, const char *description)
{
    if (maker->descriptions.size() == most_descriptions)
        maker->descriptions.clear();
    std::string &line = maker->descriptions[description];
    if (line.empty())
        line = cut_text(fold_text(description), longest_description);
    return line;
}

} // namespace

std::string make_help_text(help_maker *maker, const lysc_node *node)
{
    std::string bracket;
    if (node->nodetype == LYS_LEAF)
        bracket = leaf_text(&maker->names, node);
    else if (node->nodetype == LYS_LEAFLIST)
        bracket = leaf_list_text(&maker->names, node);
    else if (node->nodetype == LYS_LIST)
        bracket = keys_text(node);
    std::string help;
    if (node->dsc != nullptr)
        help = description_line(maker, node->dsc);
    if (!bracket.empty()) {
        help.append(help.empty() ? "[" : " [");
        help.append(cut_text(fold_text(bracket), longest_bracket)).append("]");
    }
    return help;
}

const char *built_in_type_name(const lysc_node *node)
{
    if ((node->nodetype & (LYS_LEAF | LYS_LEAFLIST)) == 0)
        return "";
    const lysc_type *type = node->nodetype == LYS_LEAF
                                ? reinterpret_cast<const lysc_node_leaf *>(node)->type
                                : reinterpret_cast<const lysc_node_leaflist *>(node)->type;
    LY_DATA_TYPE base = type->basetype;
    if (base == LY_TYPE_LEAFREF) {
        LY_DATA_TYPE real = reinterpret_cast<const lysc_type_leafref *>(type)->realtype->basetype;
        base = real == LY_TYPE_UNION || real == LY_TYPE_IDENT ? real : base;
    }
    return base_type_names[base];
}

#include "device/schemac/help_text.h"

#include <stdint.h>
#include <utility>
#include <vector>

#include "device/schemac/text_tools.h"

namespace
{

constexpr size_t longest_description = 200;
constexpr size_t longest_bracket = 600;
constexpr size_t most_values = 12;

// A list of values at the end of a text, of which the first dozen are shown.
struct value_list {
    std::string *text;
    const char *separator;
    size_t count;
};

void add_value(value_list *values, std::string_view value)
{
    values->count++;
    if (values->count > most_values + 1)
        return;
    if (values->count > 1)
        values->text->append(values->separator);
    values->text->append(values->count > most_values ? "\xe2\x80\xa6" : value);
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

std::string bound_text(const lysc_type *type, int64_t bound)
{
    if (type->basetype == LY_TYPE_DEC64)
        return decimal_text(bound, reinterpret_cast<const lysc_type_dec *>(type)->fraction_digits);
    return is_signed(type) ? std::to_string(bound) : std::to_string(static_cast<uint64_t>(bound));
}

void add_range(std::string *text, const char *word, const lysc_type *type, const lysc_range *range)
{
    if (range == nullptr)
        return;
    text->append(", ").append(word).append(" ");
    value_list parts = {text, " | ", 0};
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(range->parts); i++) {
        const lysc_range::lysc_range_part *part = &range->parts[i];
        std::string bounds = bound_text(type, part->min_64);
        if (part->min_64 != part->max_64)
            bounds.append("..").append(bound_text(type, part->max_64));
        add_value(&parts, bounds);
    }
}

void add_names(std::string *text, const char *separator, const lysc_type_bitenum_item *items)
{
    value_list values = {&text->append(": "), separator, 0};
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(items); i++)
        add_value(&values, items[i].name);
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

void add_identities_of(std::string *text, const lysc_type_identityref *type)
{
    const size_t start = text->size();
    value_list values = {&text->append(": "), " | ", 0};
    std::vector<const lysc_ident *> seen;
    if (LY_ARRAY_COUNT(type->bases) == 1)
        add_identities(&values, type->bases[0], &seen);
    if (values.count == 0)
        text->resize(start);
}

// The type that the constraint is that of.
const lysc_type *constrained_type(const lysc_type *type)
{
    return type->basetype == LY_TYPE_LEAFREF
               ? reinterpret_cast<const lysc_type_leafref *>(type)->realtype
               : type;
}

// What a type demands of its values, to be written after its name: nothing, or
// a text that begins with ": " or ", ".
void add_constraint(std::string *text, const lysc_type *type)
{
    if (is_signed(type) || is_unsigned(type))
        add_range(text, "range", type, reinterpret_cast<const lysc_type_num *>(type)->range);
    else if (type->basetype == LY_TYPE_DEC64)
        add_range(text, "range", type, reinterpret_cast<const lysc_type_dec *>(type)->range);
    else if (type->basetype == LY_TYPE_STRING)
        add_range(text, "length", type, reinterpret_cast<const lysc_type_str *>(type)->length);
    else if (type->basetype == LY_TYPE_BINARY)
        add_range(text, "length", type, reinterpret_cast<const lysc_type_bin *>(type)->length);
    else if (type->basetype == LY_TYPE_ENUM)
        add_names(text, " | ", reinterpret_cast<const lysc_type_enum *>(type)->enums);
    else if (type->basetype == LY_TYPE_BITS)
        add_names(text, " ", reinterpret_cast<const lysc_type_bits *>(type)->bits);
    else if (type->basetype == LY_TYPE_IDENT)
        add_identities_of(text, reinterpret_cast<const lysc_type_identityref *>(type));
    else if (type->basetype == LY_TYPE_LEAFREF)
        add_constraint(text, constrained_type(type));
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
    std::string constraint;
    add_constraint(&constraint, type);
    return constraint.empty() ? name : std::string(name) + " (" + constraint.substr(2) + ")";
}

// The members of a union that is written out where it is used.
void add_members(std::string *text, const lysp_type *written, const lysc_type_union *type)
{
    // The compiled type is flat: with a union within the union they differ.
    bool is_flat = LY_ARRAY_COUNT(written->types) == LY_ARRAY_COUNT(type->types);
    value_list members = {&text->append(": "), " or ", 0};
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(written->types); i++) {
        const char *name = written->types[i].name;
        add_value(&members, is_flat ? member_text(name, type->types[i]) : name);
    }
}

void add_type(std::string *text, const lysp_type *written, const lysc_type *type)
{
    text->append(written != nullptr ? written->name : base_type_names[type->basetype]);
    if (written != nullptr && type->basetype == LY_TYPE_UNION && written->types != nullptr)
        add_members(text, written, reinterpret_cast<const lysc_type_union *>(type));
    else
        add_constraint(text, type);
}

// What a leaf and a leaf-list both have.
struct leaf_facts {
    const lysc_type *type;
    const char *units;
    lyd_value *const *defaults;
    size_t count; // of defaults
    bool is_mandatory;
};

bool is_leaf(const lysc_node *node)
{
    return (node->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0;
}

leaf_facts facts_of(const lysc_node *node)
{
    if (node->nodetype == LYS_LEAF) {
        const auto *leaf = reinterpret_cast<const lysc_node_leaf *>(node);
        return {leaf->type, leaf->units, &leaf->dflt, leaf->dflt != nullptr ? size_t{1} : 0,
                (leaf->flags & LYS_MAND_TRUE) != 0};
    }
    const auto *list = reinterpret_cast<const lysc_node_leaflist *>(node);
    return {list->type, list->units, list->dflts, static_cast<size_t>(LY_ARRAY_COUNT(list->dflts)),
            list->min > 0};
}

const char *default_of(const lysc_node *node, const leaf_facts *leaf, size_t number)
{
    return lyd_value_get_canonical(node->module->ctx, leaf->defaults[number]);
}

void add_leaf(std::string *text, const type_names *names, const lysc_node *node)
{
    const leaf_facts leaf = facts_of(node);
    add_type(text, type_names_find(names, node), leaf.type);
    if (leaf.units != nullptr)
        text->append(", units ").append(leaf.units);
    for (size_t i = 0; i < leaf.count; i++) {
        const char *value = default_of(node, &leaf, i);
        text->append(i == 0 ? ", default " : " ");
        text->append(value == nullptr || value[0] == '\0' ? "\"\"" : value);
    }
    text->append(leaf.is_mandatory ? ", mandatory" : "");
}

// A reference that stands in one statement may lead to several types, and a union be compiled
// differently where it is used. Types that libyang has compiled once are shared by statements.
bool has_same_type(const lysp_type *one, const lysc_type *first, const lysp_type *other,
                   const lysc_type *second)
{
    if (one == nullptr || other == nullptr || one->name != other->name ||
        first->basetype != second->basetype)
        return false;
    return constrained_type(first) == constrained_type(second) ||
           (one == other && first->basetype != LY_TYPE_LEAFREF && first->basetype != LY_TYPE_UNION);
}

void add_keys(std::string *text, const lysc_node *list)
{
    const lysc_node *key = lysc_node_child(list);
    const char *before = lysc_is_key(key) && lysc_is_key(key->next) ? "keys " : "key ";
    for (; lysc_is_key(key); key = key->next) {
        text->append(before).append(key->name);
        before = ", ";
    }
}

} // namespace

std::string make_help_text(const type_names *names, const lysc_node *node)
{
    std::string bracket;
    if (is_leaf(node))
        add_leaf(&bracket, names, node);
    else if (node->nodetype == LYS_LIST)
        add_keys(&bracket, node);
    std::string help;
    if (node->dsc != nullptr)
        help = cut_text(fold_text(node->dsc), longest_description);
    if (!bracket.empty()) {
        help.append(help.empty() ? "[" : " [");
        help.append(cut_text(fold_text(std::move(bracket)), longest_bracket)).append("]");
    }
    return help;
}

bool has_same_help(const type_names *names, const lysc_node *one, const lysc_node *other)
{
    if (one->nodetype != other->nodetype || one->flags != other->flags || one->dsc != other->dsc)
        return false;
    if (!is_leaf(one))
        return one->nodetype != LYS_LIST || one->priv == other->priv;
    const leaf_facts first = facts_of(one);
    const leaf_facts second = facts_of(other);
    if (first.units != second.units || first.count != second.count)
        return false;
    for (size_t i = 0; i < first.count; i++) {
        if (default_of(one, &first, i) != default_of(other, &second, i))
            return false;
    }
    return has_same_type(type_names_find(names, one), first.type, type_names_find(names, other),
                         second.type);
}

const char *built_in_type_name(const lysc_node *node)
{
    if (!is_leaf(node))
        return "";
    const lysc_type *type = facts_of(node).type;
    LY_DATA_TYPE base = type->basetype;
    if (base == LY_TYPE_LEAFREF) {
        LY_DATA_TYPE real = constrained_type(type)->basetype;
        base = real == LY_TYPE_UNION || real == LY_TYPE_IDENT ? real : base;
    }
    return base_type_names[base];
}

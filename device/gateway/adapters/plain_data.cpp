// A reply whose data stand in an element that is not written "<data>": with a prefix, with
// attributes, or as one tag. An export takes what stands between "<data>" and "</data>", so
// they are written in this way. Each child of the element gets those namespaces that it used to
// inherit and still needs, so that what is exported can be imported.
#include "device/gateway/adapters/adapter.h"
#include "device/gateway/frame.h"
#include "device/gateway/xml_pieces.h"
#include "device/gateway/xml_walk.h"

namespace
{

constexpr std::string_view plain_start = "<data>";

// What becomes of a reply.
struct data_writer {
    byte_buffer out;
    bool fails;    // there is no room in it
    size_t copied; // of the reply, up to here
    std::string_view reply;
    xml_attribute inherited[xml_space_limit]; // declarations that hold for each child
    size_t inherited_count;
};

void append(data_writer *writer, std::initializer_list<std::string_view> pieces)
{
    if (byte_buffer_append_all(&writer->out, pieces, frame_body_limit) != buffer_ok)
        writer->fails = true;
}

void copy_until(data_writer *writer, size_t end)
{
    append(writer, {writer->reply.substr(writer->copied, end - writer->copied)});
    writer->copied = end;
}

bool is_default(std::string_view attribute_name)
{
    return attribute_name == "xmlns";
}

// Whether a child that stands in the base namespace needs a declaration to mean what it did.
bool is_needed(const xml_element *child, std::string_view text, const xml_attribute *declaration)
{
    xml_attribute own;
    if (xml_attribute_find(child->attributes, declaration->name, &own))
        return false;
    if (is_default(declaration->name))
        return declaration->value != netconf_base_namespace;
    std::string_view prefix;
    while (xml_prefix_next(&text, &prefix)) {
        if (prefix == declaration->name.substr(xml_prefix_declaration.size()))
            return true;
    }
    return false;
}

void append_attribute(data_writer *writer, const xml_attribute *attribute)
{
    append(writer, {" ", attribute->name, "=", attribute->quoted});
}

// Notes what all children inherit from an element of these attributes, where the element hidden,
// which stands between them, declares nothing else. Once: there may be many of both.
void inherit(data_writer *writer, std::string_view attributes, std::string_view hidden)
{
    xml_attribute attribute;
    xml_attribute other;
    while (xml_attribute_next(&attributes, &attribute)) {
        const bool declares =
            is_default(attribute.name) || attribute.name.starts_with(xml_prefix_declaration);
        if (declares && !xml_attribute_find(hidden, attribute.name, &other) &&
            writer->inherited_count < xml_space_limit)
            writer->inherited[writer->inherited_count++] = attribute;
    }
}

// The root, if it has a prefix, gets the default namespace instead.
void start_root(data_writer *writer, const xml_element *root)
{
    if (root->prefix.empty()) {
        copy_until(writer, root->content);
        return;
    }
    append(writer, {"<rpc-reply xmlns=\"", netconf_base_namespace, "\""});
    std::string_view rest = root->attributes;
    xml_attribute attribute;
    while (xml_attribute_next(&rest, &attribute)) {
        if (!is_default(attribute.name))
            append_attribute(writer, &attribute);
    }
    append(writer, {">"});
    writer->copied = root->content;
}

xml_step on_start(void *context, const xml_walk *walk)
{
    auto *writer = static_cast<data_writer *>(context);
    const xml_element *element = &walk->open[walk->depth - 1];
    if (walk->depth != reply_data)
        return xml_step_on;
    const std::string_view tag =
        writer->reply.substr(element->from, element->content - element->from);
    if (!xml_is_base(element, "data") || tag == plain_start || writer->copied > 0)
        return xml_step_fail;
    start_root(writer, &walk->open[0]);
    copy_until(writer, element->from);
    append(writer, {plain_start});
    writer->copied = element->content;
    inherit(writer, element->attributes, {});
    inherit(writer, walk->open[reply_root - 1].attributes, element->attributes);
    return xml_step_on;
}

void end_child(data_writer *writer, const xml_element *child)
{
    const std::string_view text = writer->reply.substr(child->from, child->end - child->from);
    copy_until(writer, child->from + 1 + child->prefix.size() + child->local.size());
    for (size_t at = 0; at < writer->inherited_count; at++) {
        if (is_needed(child, text, &writer->inherited[at]))
            append_attribute(writer, &writer->inherited[at]);
    }
    copy_until(writer, child->end);
}

void end_outer(data_writer *writer, size_t end, std::string_view tag)
{
    const size_t from = writer->reply.rfind("</", end - 1);
    if (from != std::string_view::npos && from > writer->copied)
        copy_until(writer, from);
    append(writer, {tag});
    writer->copied = end;
}

xml_step on_end(void *context, const xml_walk *walk)
{
    const size_t end = walk->open[walk->depth - 1].end;
    auto *writer = static_cast<data_writer *>(context);
    if (writer->copied == 0) // there are no data
        return xml_step_fail;
    if (walk->depth == reply_child)
        end_child(writer, &walk->open[reply_child - 1]);
    else if (walk->depth == reply_data)
        end_outer(writer, end, "</data>");
    else if (walk->depth == reply_root)
        end_outer(writer, end, "</rpc-reply>");
    return writer->fails ? xml_step_fail : xml_step_on;
}

// Whether the tag of the root's first child may be one of data that is written in another way.
// Most are not, and reading them costs more than all else that is done to a short reply.
bool may_need_writing(std::string_view text)
{
    xml_piece piece{};
    unsigned tags = 0;
    for (size_t at = 0; tags < reply_data && xml_piece_next(text, &at, &piece);)
        tags += piece.kind == xml_piece_start || piece.kind == xml_piece_empty ? 1 : 0;
    const std::string_view tag = text.substr(piece.from, piece.end - piece.from);
    return tags == reply_data && tag != plain_start && tag.find("data") != std::string_view::npos;
}

// Whether it is written anew. What cannot be read, and what is written so already, stays as it is.
bool write_plain(const server_hello *, const message_head *head, byte_buffer *message)
{
    static const xml_events events = {on_start, nullptr, on_end};
    const std::string_view reply = byte_buffer_view(message);
    if (head->kind != message_rpc_reply || head->is_error || !may_need_writing(reply))
        return false;
    data_writer writer{};
    writer.reply = reply;
    if (xml_read(reply, &events, &writer) != 0)
        return false;
    *message = byte_buffer_take(&writer.out);
    return true;
}

} // namespace

const adapter plain_data_adapter = {
    .first = "the data of a reply are passed on between two plain tags", .message = write_plain};

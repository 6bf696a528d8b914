#include "device/gateway/copy_request.h"

#include <string.h>

#include "device/gateway/xml_reader.h"

namespace
{

// A copy-config has two children, or three.
constexpr unsigned copy_child_limit = 16;

constexpr std::string_view nothing_but_blanks = " \t\r\n";

bool is_base(const xml_element *element, std::string_view local)
{
    return xml_element_is(element, netconf_base_namespace, local);
}

bool is_bare(const xml_element *element)
{
    return element->attributes.find_first_not_of(nothing_but_blanks) == std::string_view::npos;
}

// Moves to the copy-config of an rpc.
bool find_copy(xml_scan *scan, xml_element *rpc, xml_element *copy)
{
    return xml_scan_root(scan, rpc) && is_base(rpc, "rpc") && xml_scan_child(scan, rpc, copy) &&
           is_base(copy, "copy-config");
}

// Reads an element that holds one child; *child is skipped too.
bool read_only_child(xml_scan *scan, const xml_element *parent, xml_element *child,
                     size_t *child_end)
{
    if (!xml_scan_child(scan, parent, child))
        return false;
    *child_end = xml_scan_skip(scan, child);
    xml_element another;
    return !xml_scan_child(scan, parent, &another) && !scan->failed;
}

bool read_target(xml_scan *scan, const xml_element *target)
{
    xml_element datastore;
    size_t end;
    return read_only_child(scan, target, &datastore, &end) && is_base(&datastore, "running");
}

bool read_source(xml_scan *scan, running_copy *copy)
{
    if (!is_bare(&copy->source) ||
        !read_only_child(scan, &copy->source, &copy->config, &copy->config_end))
        return false;
    copy->from_startup = is_base(&copy->config, "startup");
    return copy->from_startup || is_base(&copy->config, "config");
}

} // namespace

void copy_request_clean(byte_buffer *request)
{
    char *bytes = request->data.get();
    xml_scan scan{{bytes, request->size}, 0, false};
    xml_element rpc;
    xml_element copy;
    if (!find_copy(&scan, &rpc, &copy))
        return;
    struct {
        size_t from;
        size_t to;
    } dropped[copy_child_limit];
    unsigned count = 0;
    unsigned children = 0;
    xml_element child;
    while (children++ < copy_child_limit && xml_scan_child(&scan, &copy, &child)) {
        xml_scan_skip(&scan, &child);
        if (is_base(&child, "error-option"))
            dropped[count++] = {child.from, scan.at};
    }
    if (scan.failed || count == 0)
        return;
    size_t kept = dropped[0].from;
    for (unsigned at = 0; at < count; at++) {
        const size_t next = at + 1 < count ? dropped[at + 1].from : request->size;
        memmove(bytes + kept, bytes + dropped[at].to, next - dropped[at].to);
        kept += next - dropped[at].to;
    }
    request->size = kept;
}

bool running_copy_read(std::string_view request, running_copy *copy)
{
    *copy = {};
    xml_scan scan{request, 0, false};
    if (!find_copy(&scan, &copy->rpc, &copy->copy))
        return false;
    bool has_target = false;
    bool has_source = false;
    xml_element child;
    while (xml_scan_child(&scan, &copy->copy, &child)) {
        bool *seen = is_base(&child, "target") ? &has_target : &has_source;
        if (*seen)
            return false;
        *seen = true;
        if (seen == &has_source) {
            copy->source = child;
            if (!is_base(&child, "source") || !read_source(&scan, copy))
                return false;
        } else if (!read_target(&scan, &child)) {
            return false;
        }
    }
    copy->copy_end = scan.at;
    return !scan.failed && has_target && has_source;
}

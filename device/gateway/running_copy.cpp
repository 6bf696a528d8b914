#include "device/gateway/running_copy.h"

#include <memory>
#include <new>

#include "device/gateway/xml_characters.h"

namespace
{

// The depths of a request's elements.
enum copy_depth : unsigned {
    copy_rpc = 1,
    copy_config = 2,
    copy_part = 3,      // the target and the source
    copy_datastore = 4, // or the configuration
};

bool is_base(const xml_element *element, std::string_view local)
{
    return xml_element_is(element, netconf_base_namespace, local);
}

// The two outer elements, which all copies have in common.
xml_step start_outer(const xml_walk *walk)
{
    const char *name = walk->depth == copy_rpc ? "rpc" : "copy-config";
    return is_base(&walk->open[walk->depth - 1], name) ? xml_step_on : xml_step_fail;
}

// What is known of a copy to running on the way through it.
struct copy_reader {
    running_copy *copy;
    configuration *config;
    bool keeps_config; // what is in the configuration is wanted, too
    bool has_target;
    bool has_source;
    bool has_datastore; // in the one of the two that is read
    bool in_source;
    bool is_done;
};

xml_step start_part(copy_reader *reader, const xml_element *element)
{
    reader->in_source = !is_base(element, "target");
    reader->has_datastore = false;
    bool *seen = reader->in_source ? &reader->has_source : &reader->has_target;
    if (*seen)
        return xml_step_fail;
    *seen = true;
    const bool is_bare =
        element->attributes.find_first_not_of(xml_blanks) == std::string_view::npos;
    const bool is_source = is_base(element, "source") && is_bare;
    return !reader->in_source || is_source ? xml_step_on : xml_step_fail;
}

xml_step start_datastore(copy_reader *reader, const xml_element *element)
{
    if (reader->has_datastore)
        return xml_step_fail;
    reader->has_datastore = true;
    if (!reader->in_source)
        return is_base(element, "running") ? xml_step_on : xml_step_fail;
    reader->copy->from_startup = is_base(element, "startup");
    if (!reader->copy->from_startup && !is_base(element, "config"))
        return xml_step_fail;
    const bool is_kept = reader->keeps_config && !reader->copy->from_startup;
    return is_kept ? configuration_start(reader->config) : xml_step_on;
}

// True in the element that is copied, and not only at it.
bool is_in_config(const copy_reader *reader, const xml_walk *walk)
{
    return reader->keeps_config && reader->in_source && walk->depth > copy_datastore &&
           !reader->copy->from_startup;
}

xml_step copy_start(void *context, const xml_walk *walk)
{
    auto *reader = static_cast<copy_reader *>(context);
    const xml_element *element = &walk->open[walk->depth - 1];
    if (walk->depth == copy_config)
        reader->copy->copy = *element;
    if (walk->depth <= copy_config)
        return start_outer(walk);
    if (walk->depth == copy_part)
        return start_part(reader, element);
    if (walk->depth == copy_datastore)
        return start_datastore(reader, element);
    return is_in_config(reader, walk) ? configuration_start(reader->config) : xml_step_on;
}

xml_step copy_text(void *context, const xml_walk *walk, std::string_view text)
{
    auto *reader = static_cast<copy_reader *>(context);
    return is_in_config(reader, walk) ? configuration_text(reader->config, text) : xml_step_on;
}

xml_step copy_end(void *context, const xml_walk *walk, size_t end)
{
    auto *reader = static_cast<copy_reader *>(context);
    if (is_in_config(reader, walk))
        return configuration_end(reader->config, end);
    if (walk->depth == copy_part)
        return reader->has_datastore ? xml_step_on : xml_step_fail;
    if (walk->depth > copy_config)
        return xml_step_on;
    reader->copy->copy_end = end;
    reader->is_done = walk->depth == copy_config && reader->has_target && reader->has_source;
    return reader->is_done ? xml_step_end : xml_step_fail;
}

bool read_copy(std::string_view request, running_copy *copy, configuration *config,
               bool keeps_config)
{
    static const xml_events events = {copy_start, copy_text, copy_end};
    copy_reader reader{};
    *copy = {};
    reader.copy = copy;
    reader.config = config;
    reader.keeps_config = keeps_config;
    config->text = request;
    return xml_walk_run(&config->walk, request, &events, &reader) == 0 && reader.is_done;
}

} // namespace

bool running_copy_read(std::string_view request, running_copy *copy)
{
    const std::unique_ptr<configuration> config(new (std::nothrow) configuration{});
    return config != nullptr && read_copy(request, copy, config.get(), false);
}

const char *running_copy_read_all(std::string_view request, running_copy *copy,
                                  configuration *config)
{
    if (!read_copy(request, copy, config, true))
        return config->depth == 0 ? "the request cannot be followed" : configuration_unreadable;
    configuration_sort(config);
    return nullptr;
}

#include "device/gateway/running_copy.h"

#include <memory>
#include <new>

#include "device/gateway/xml_characters.h"

namespace
{

// The two outer elements, which all copies have in common.
xml_step start_outer(const xml_walk *walk)
{
    const char *name = walk->depth == request_rpc ? "rpc" : "copy-config";
    return xml_is_base(&walk->open[walk->depth - 1], name) ? xml_step_on : xml_step_fail;
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
    bool in_config; // in the configuration that is copied, or at it
};

xml_step start_part(copy_reader *reader, const xml_element *element)
{
    reader->in_source = !xml_is_base(element, "target");
    reader->has_datastore = false;
    bool *seen = reader->in_source ? &reader->has_source : &reader->has_target;
    if (*seen)
        return xml_step_fail;
    *seen = true;
    const bool is_bare =
        element->attributes.find_first_not_of(xml_blanks) == std::string_view::npos;
    const bool is_source = xml_is_base(element, "source") && is_bare;
    return !reader->in_source || is_source ? xml_step_on : xml_step_fail;
}

xml_step start_datastore(copy_reader *reader, const xml_element *element)
{
    if (reader->has_datastore)
        return xml_step_fail;
    reader->has_datastore = true;
    if (!reader->in_source)
        return xml_is_base(element, "running") ? xml_step_on : xml_step_fail;
    reader->copy->from_startup = xml_is_base(element, "startup");
    if (!reader->copy->from_startup && !xml_is_base(element, "config"))
        return xml_step_fail;
    reader->in_config = !reader->copy->from_startup;
    return reader->keeps_config && reader->in_config ? configuration_start(reader->config)
                                                     : xml_step_on;
}

// True at what is in the configuration, if that is wanted.
bool is_wanted(const copy_reader *reader, const xml_walk *walk)
{
    return reader->keeps_config && reader->in_config && walk->depth > request_datastore;
}

xml_step copy_start(void *context, const xml_walk *walk)
{
    auto *reader = static_cast<copy_reader *>(context);
    const xml_element *element = &walk->open[walk->depth - 1];
    if (walk->depth <= request_operation)
        return start_outer(walk);
    if (walk->depth == request_part)
        return start_part(reader, element);
    if (walk->depth == request_datastore)
        return start_datastore(reader, element);
    return is_wanted(reader, walk) ? configuration_start(reader->config) : xml_step_on;
}

xml_step copy_text(void *context, const xml_walk *walk, std::string_view text)
{
    auto *reader = static_cast<copy_reader *>(context);
    return is_wanted(reader, walk) ? configuration_text(reader->config, walk, text) : xml_step_on;
}

xml_step copy_end(void *context, const xml_walk *walk)
{
    auto *reader = static_cast<copy_reader *>(context);
    if (is_wanted(reader, walk))
        return configuration_end(reader->config);
    if (walk->depth == request_datastore)
        reader->in_config = false;
    if (walk->depth == request_part)
        return reader->has_datastore ? xml_step_on : xml_step_fail;
    if (walk->depth > request_operation)
        return xml_step_on;
    reader->copy->copy = walk->open[request_operation - 1];
    const bool is_copy =
        walk->depth == request_operation && reader->has_target && reader->has_source;
    return is_copy ? xml_step_end : xml_step_fail;
}

int read_copy(std::string_view request, copy_reader *reader)
{
    static const xml_events events = {copy_start, copy_text, copy_end};
    *reader->copy = {};
    return xml_walk_run(&reader->config->walk, request, &events, reader);
}

} // namespace

bool running_copy_read(std::string_view request, running_copy *copy)
{
    const std::unique_ptr<configuration> config(new (std::nothrow) configuration{});
    copy_reader reader{};
    reader.copy = copy;
    reader.config = config.get();
    if (config == nullptr || read_copy(request, &reader) == 0)
        return config != nullptr;
    return config->walk.step == xml_step_fail && reader.in_config && reader.has_target;
}

const char *running_copy_read_all(std::string_view request, running_copy *copy,
                                  configuration *config)
{
    copy_reader reader{};
    reader.copy = copy;
    reader.config = config;
    reader.keeps_config = true;
    if (read_copy(request, &reader) != 0)
        return config->depth == 0 ? "the request cannot be followed" : configuration_unreadable;
    configuration_sort(config);
    return nullptr;
}

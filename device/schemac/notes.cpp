#include "device/schemac/notes.h"

#include <map>

#include "device/schemac/features.h"
#include "device/schemac/text_tools.h"

namespace
{

void add_value(std::vector<hash_field> *fields, const std::string &module, const std::string &value)
{
    if (!value.empty())
        fields->push_back({module, value});
}

void tell_note(const hash_sink &sink, const char *key, const std::vector<hash_field> &fields)
{
    if (!fields.empty())
        sink(key, fields);
}

} // namespace

void notes_tell(const ly_ctx *context, const hash_sink &sink)
{
    std::map<std::string, const lys_module *> modules;
    uint32_t position = 0;
    while (const lys_module *module = ly_ctx_get_module_iter(context, &position)) {
        const lys_module **noted = &modules[module->name];
        if (*noted == nullptr || module->implemented)
            *noted = module;
    }
    std::vector<hash_field> revisions;
    std::vector<hash_field> features_on;
    std::vector<hash_field> features_off;
    for (const auto &[name, module] : modules) {
        add_value(&revisions, name, module->revision != nullptr ? module->revision : "");
        add_value(&features_on, name, joined_text(features_of(module, true)));
        add_value(&features_off, name, joined_text(features_of(module, false)));
    }
    tell_note(sink, note_revisions, revisions);
    tell_note(sink, note_features_on, features_on);
    tell_note(sink, note_features_off, features_off);
}

#include "device/gateway/extras.h"

namespace
{

#define DEFAULTS_NAMESPACE "urn:ietf:params:xml:ns:yang:ietf-netconf-with-defaults"
#define WITH_DEFAULTS(mode)                                                                        \
    "<with-defaults xmlns=\"" DEFAULTS_NAMESPACE "\">" mode "</with-defaults>"

constexpr defaults_mode modes[] = {
    {"report-all", 1, WITH_DEFAULTS("report-all")},
    {"report-all-tagged", 2, WITH_DEFAULTS("report-all-tagged")},
    {"trim", 4, WITH_DEFAULTS("trim")},
    {"explicit", 8, WITH_DEFAULTS("explicit")},
};

} // namespace

const defaults_mode *defaults_mode_find(std::string_view name)
{
    for (const defaults_mode &mode : modes) {
        if (mode.name == name)
            return &mode;
    }
    return nullptr;
}

// Lines put into a profile of any content, against the same done to a text.
//
// Input: "a" (append) or "r" (replace) and the section in one line, the line to
// put in the next, then the profile's content.
#include "profile/profile.h"

#include <algorithm>

#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_profile.h"
#include "tests/fuzz/fuzz_shell.h"

namespace
{

bool is_section(const std::string &name)
{
    return name == "[pwd]" || name == "[config]" || name == "[rpc]" || name == "[rpc_para]";
}

// The file is written in place: what is shorter than before leaves a rest.
std::string overwritten(const std::string &content, size_t at, const std::string &text)
{
    std::string result = content.substr(0, at) + text;
    if (result.size() < content.size())
        result += content.substr(result.size());
    return result;
}

bool put(bool appends, const std::string &section, const std::string &line, std::string *content)
{
    if (line.size() > 1000 || !is_section(section))
        return false;
    const size_t header = content->find(section);
    const size_t end = header == std::string::npos ? header : content->find("\n\n", header);
    if (end == std::string::npos)
        return false;
    const std::string written = line + "\n" + content->substr(end + 1);
    *content = overwritten(*content, appends ? end + 1 : header + section.size() + 1, written);
    return true;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*count*/, char *** /*words*/)
{
    private_tmp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    std::string section = input.text_line();
    const std::string line = input.text_line();
    std::string content = input.rest();
    const bool appends = section.empty() || section[0] != 'r';
    section.erase(0, 1);
    const fuzz_shell shell(fuzz_schema_none);
    fuzz_profile_write(content);
    const int result = profile_put_line(section.c_str(), fuzz_text(line).get(),
                                        appends ? profile_append : profile_replace);
    const bool is_put = put(appends, section, line, &content);
    fuzz_require((result == 0) == is_put, "put where the reference puts it");
    fuzz_require_equal(fuzz_profile_read(), content, "the file is as the reference makes it");
    return 0;
}

#include "device/gateway/hello.h"

#include <string.h>

#include "device/gateway/xml_reader.h"

const char hello_text[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
                          "<hello xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><capabilities>"
                          "<capability>urn:ietf:params:netconf:base:1.0</capability>"
                          "<capability>urn:ietf:params:netconf:base:1.1</capability>"
                          "</capabilities></hello>";

namespace
{

// True when the capability is that one, whatever parameters it carries.
bool names_capability(const char *capability, const char *name)
{
    const size_t size = strlen(name);
    return strncmp(capability, name, size) == 0 &&
           (capability[size] == '\0' || capability[size] == '?');
}

void note_capability(server_hello *hello, const char *capability)
{
    if (names_capability(capability, "urn:ietf:params:netconf:base:1.0"))
        hello->base_1_0 = true;
    else if (names_capability(capability, "urn:ietf:params:netconf:base:1.1"))
        hello->base_1_1 = true;
    else if (names_capability(capability, "urn:ietf:params:netconf:capability:notification:1.0"))
        hello->notifications = true;
    else if (names_capability(capability, "urn:ietf:params:netconf:capability:interleave:1.0"))
        hello->interleave = true;
    else if (names_capability(capability,
                              "urn:ietf:params:netconf:capability:writable-running:1.0"))
        hello->writable_running = true;
    else if (names_capability(capability,
                              "urn:ietf:params:netconf:capability:rollback-on-error:1.0"))
        hello->rollback_on_error = true;
}

// A decimal number from 1 to 2^32 - 1; 0 for anything else.
uint32_t read_session_id(const char *text)
{
    uint64_t number = 0;
    for (; *text >= '0' && *text <= '9' && number <= UINT32_MAX; text++)
        number = number * 10 + static_cast<uint64_t>(*text - '0');
    return *text != '\0' || number > UINT32_MAX ? 0 : static_cast<uint32_t>(number);
}

void read_hello_element(xmlTextReader *reader, server_hello *hello)
{
    const bool is_capability = xml_reader_is(reader, netconf_base_namespace, "capability");
    if (!is_capability && !xml_reader_is(reader, netconf_base_namespace, "session-id"))
        return;
    xml_text owner;
    const char *text = xml_reader_trimmed_text(reader, &owner);
    if (text == nullptr)
        return;
    if (is_capability)
        note_capability(hello, text);
    else
        hello->session_id = read_session_id(text);
}

} // namespace

const char *server_hello_read(const char *text, size_t size, server_hello *hello)
{
    *hello = {};
    if (size > hello_size_limit)
        return "the server's hello is too long";
    const xml_reader reader = xml_reader_open(text, size);
    if (reader == nullptr)
        return "out of memory for the server's hello";
    const bool has_root = xml_reader_next_element(reader.get());
    if (xmlTextReaderReadState(reader.get()) == XML_TEXTREADER_MODE_ERROR)
        return "the server's hello is not well-formed";
    if (!has_root || !xml_reader_is(reader.get(), netconf_base_namespace, "hello"))
        return "the server's first message is not a hello";
    while (xml_reader_next_element(reader.get()))
        read_hello_element(reader.get(), hello);
    if (xmlTextReaderReadState(reader.get()) != XML_TEXTREADER_MODE_EOF)
        return "the server's hello is not well-formed";
    if (!hello->base_1_0 && !hello->base_1_1)
        return "the server's hello offers neither NETCONF 1.0 nor 1.1";
    if (hello->session_id == 0)
        return "the server's hello has no valid session-id";
    return nullptr;
}

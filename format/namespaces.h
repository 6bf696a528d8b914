// The namespaces of the messages, as literals that a longer literal can hold.
#pragma once

#define NETCONF_BASE_NAMESPACE "urn:ietf:params:xml:ns:netconf:base:1.0"
#define NETCONF_NOTIFICATION_NAMESPACE "urn:ietf:params:xml:ns:netconf:notification:1.0"

// Of create-session and its answer, which are between a shell and the daemon only.
#define TARND_NAMESPACE "com:quorvex:netconf:private:vesk:device:tarnd"

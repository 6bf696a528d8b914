// Connection to the configuration daemon tarnd (libconf.so).
//
// On a device this library belongs to the platform; the host version connects
// to the Unix stream socket named by the environment variable TARND_SOCKET,
// "/run/tarnd.sock" when it is unset or empty.
#ifndef VANDEL_PLATFORM_CONF_AGENT_H
#define VANDEL_PLATFORM_CONF_AGENT_H

#ifdef __cplusplus
extern "C" {
#endif

// Connects to the daemon. Returns the connected socket, which the caller
// closes, or a negative value with errno set: in the host version EACCES also
// when the daemon is neither root's nor the effective user's.
int conf_agent_init(void);

// Sets the platform's debug output; returns 0 for success. The host version
// has no debug output and always returns 0.
int conf_dbg_enable(int level, int flag);

#ifdef __cplusplus
}
#endif

#endif

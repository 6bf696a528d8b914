// The platform's connection to the daemon, played by a test.
//
// The test takes one end of a socket pair; the next conf_agent_init hands the
// other end to the code under test. Whoever got an end closes it.
#pragma once

// Forgets what was arranged: conf_agent_init fails with ENOENT, conf_dbg_enable
// returns 0, and nothing was called yet.
void fake_conf_reset();

// Makes a connection; returns the daemon's end. The shell's end waits for
// conf_agent_init (or for the next call, which closes it).
int fake_conf_listen();

// The next calls of conf_agent_init fail with this errno.
void fake_conf_refuse(int cause);

// What conf_dbg_enable returns, and the arguments of its last call (-1, -1
// when there was none).
void fake_conf_set_debug_result(int result);
int fake_conf_debug_level();
int fake_conf_debug_flag();

// How often conf_agent_init was called.
int fake_conf_calls();

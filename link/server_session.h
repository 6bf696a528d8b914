// Connecting to the daemon and announcing the operator.
#pragma once

// Connects, creates the session and starts the listener; 0 or non-zero, and
// then the socket is closed. The reason is in the system log.
int server_connect();

// Sends the create-session rpc and keeps the session id of its reply; 0 or -1.
int session_create();

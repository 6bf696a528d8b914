// Whether a copy to running has come to what it should, for the adapters that see to one. The
// request, a copy-config to running, is in exchange->request, the reply to a get-config of
// startup, if that is copied, in exchange->source.
#pragma once

#include "device/gateway/adapters/adapter.h"
#include "device/gateway/report.h"
#include "device/gateway/running_edit.h"

// Ask for what is compared.
void copied_ask_startup(exchange *exchange);
void copied_ask_running(exchange *exchange);

// What was to be copied.
running_source copied_source(const exchange *exchange);

// Whether running, of which message is the reply to a get-config, is that; otherwise *fault says
// why it is not known to be.
bool copied_to_running(const exchange *exchange, const byte_buffer *message, report_text *fault);

// Logs that it is not, and appends the answer that says so. 0, or -1: out of memory.
int copied_failure(const exchange *exchange, const char *reason, byte_buffer *reply);

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

// Why running, of which message is the reply to a get-config, is not known to be that; the empty
// text when it is.
report_text copied_fault(const exchange *exchange, const byte_buffer *message);

// Logs that it is not, and gives the answer that says so; empty: out of memory.
byte_buffer copied_failure(const exchange *exchange, const char *reason);

// libxml2, loaded when a message first needs a parser: most are recognised without one, and
// loading it, with what it stands on, takes as long as all else that a command does.
#pragma once

#include <libxml/parser.h>
#include <libxml/threads.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlmemory.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

// What is called of it.
struct xml_functions {
    decltype(::xmlCtxtReadMemory) *ctxt_read_memory;
    decltype(::xmlDocGetRootElement) *doc_get_root_element;
    decltype(::xmlFreeDoc) *free_doc;
    decltype(::xmlFreeParserCtxt) *free_parser_ctxt;
    decltype(::xmlGetGlobalState) *get_global_state;
    decltype(::xmlInitParser) *init_parser;
    decltype(::xmlIsMainThread) *is_main_thread;
    decltype(::xmlMemSetup) *mem_setup;
    decltype(::xmlNewParserCtxt) *new_parser_ctxt;
    decltype(::xmlNodeGetContent) *node_get_content;
    decltype(::xmlReadMemory) *read_memory;
    decltype(::xmlSetGenericErrorFunc) *set_generic_error_func;
    decltype(::xmlSetStructuredErrorFunc) *set_structured_error_func;
    decltype(::xmlStopParser) *stop_parser;
    decltype(::xmlStrEqual) *str_equal;
    decltype(::xmlThrDefSetGenericErrorFunc) *thr_def_set_generic_error_func;
    decltype(::xmlXPathEvalExpression) *xpath_eval_expression;
    decltype(::xmlXPathFreeContext) *xpath_free_context;
    decltype(::xmlXPathFreeObject) *xpath_free_object;
    decltype(::xmlXPathNewContext) *xpath_new_context;
    decltype(::xmlXPathRegisterNs) *xpath_register_ns;
};

// Filled when xml_ready() first returns 0, and left alone from then on.
extern xml_functions libxml2;

// Makes libxml2 ready for the calling thread, whose errors it keeps from the terminal; called
// before each use, and done once. -1 when it cannot be loaded, which is logged, or when there
// is no memory for that or for what it keeps for a thread; another call tries again.
int xml_ready();

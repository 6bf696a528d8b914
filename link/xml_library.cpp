#include "link/xml_library.h"

#include <dlfcn.h>
#include <pthread.h>
#include <stdlib.h>

#include "base/log.h"
#include "link/xml_memory.h"
#include "scrub.h"

xml_functions libxml2;

namespace
{

constexpr size_t thread_state_size = 8192; // more than libxml2 takes for a thread
constexpr size_t loading_size = 120000;    // more than loading takes, and what the heap keeps

void discard_message(void *, const char *, ...) {}

void discard_error(void *, xmlError *) {}

bool has_memory(size_t size)
{
    void *volatile probe = malloc(size);
    free(probe);
    return probe != nullptr;
}

// The one that a program linked with libxml2 would call: what stands before all libraries
// may replace it.
template <class Function>
bool find(Function *function, const char *name)
{
    *function = reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
    return *function != nullptr;
}

bool find_all()
{
    return find(&libxml2.ctxt_read_memory, "xmlCtxtReadMemory") &&
           find(&libxml2.doc_get_root_element, "xmlDocGetRootElement") &&
           find(&libxml2.free_doc, "xmlFreeDoc") &&
           find(&libxml2.free_parser_ctxt, "xmlFreeParserCtxt") &&
           find(&libxml2.get_global_state, "xmlGetGlobalState") &&
           find(&libxml2.init_parser, "xmlInitParser") &&
           find(&libxml2.is_main_thread, "xmlIsMainThread") &&
           find(&libxml2.mem_setup, "xmlMemSetup") &&
           find(&libxml2.new_parser_ctxt, "xmlNewParserCtxt") &&
           find(&libxml2.node_get_content, "xmlNodeGetContent") &&
           find(&libxml2.read_memory, "xmlReadMemory") &&
           find(&libxml2.set_generic_error_func, "xmlSetGenericErrorFunc") &&
           find(&libxml2.set_structured_error_func, "xmlSetStructuredErrorFunc") &&
           find(&libxml2.stop_parser, "xmlStopParser") && find(&libxml2.str_equal, "xmlStrEqual") &&
           find(&libxml2.thr_def_set_generic_error_func, "xmlThrDefSetGenericErrorFunc") &&
           find(&libxml2.xpath_eval_expression, "xmlXPathEvalExpression") &&
           find(&libxml2.xpath_free_context, "xmlXPathFreeContext") &&
           find(&libxml2.xpath_free_object, "xmlXPathFreeObject") &&
           find(&libxml2.xpath_new_context, "xmlXPathNewContext") &&
           find(&libxml2.xpath_register_ns, "xmlXPathRegisterNs");
}

// Where the loader finds no memory for its table of unique symbols, as C++ has them, it ends
// the process.
int load()
{
    if (!has_memory(loading_size))
        return -1;
    if (dlopen(XML_LIBRARY_NAME, RTLD_LAZY | RTLD_GLOBAL) != nullptr && find_all())
        return 0;
    log_debug("[DEBUG] libxml2 cannot be loaded: %s\n", dlerror());
    return -1;
}

int set_up()
{
    if (load() != 0)
        return -1;
    xml_memory_init();
    libxml2.init_parser(); // the thread that calls this first is libxml2's main thread
    libxml2.thr_def_set_generic_error_func(nullptr, discard_message); // for threads to come
    return 0;
}

int set_up_once()
{
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static bool is_done;
    pthread_mutex_lock(&mutex);
    if (!is_done)
        is_done = set_up() == 0;
    const int result = is_done ? 0 : -1;
    pthread_mutex_unlock(&mutex);
    return result;
}

// Makes what libxml2 keeps for a thread that is not its main one.
int make_thread_state()
{
    if (libxml2.is_main_thread() != 0)
        return 0;
    // For as long as it finds none, libxml2 tries again, by recursion, in order
    // to say so.
    return has_memory(thread_state_size) && libxml2.get_global_state() != nullptr ? 0 : -1;
}

} // namespace

int xml_ready()
{
    static thread_local bool is_ready;
    if (is_ready)
        return 0;
    scrub_registers();
    if (set_up_once() != 0 || make_thread_state() != 0)
        return -1;
    // libxml2 keeps these per thread.
    libxml2.set_generic_error_func(nullptr, discard_message);
    libxml2.set_structured_error_func(nullptr, discard_error);
    is_ready = true;
    return 0;
}

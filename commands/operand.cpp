#include "commands/operand.h"

#include "commands/refusals.h"
#include "schema/path.h"
#include "schema/schema_path.h"

heap_text resolve_operand(char *operand)
{
    heap_text path = path_absolute(operand);
    if (path && !path_outside_rpc(path.get()) && schema_path_of(path.get(), path_scope_session))
        return path;
    print_error_parameter(operand);
    return nullptr;
}

#include "tinyrl/checks.h"

#include <stdio.h>
#include <stdlib.h>

#include "tinyrl/raw_mode.h"

void tinyrl_check_failed(const char *expression, const char *file, const char *function)
{
    fflush(nullptr);
    raw_mode_rescue();
    fprintf(stderr, "%s: %s: Assertion `%s' failed.\n", file, function, expression);
    abort();
}

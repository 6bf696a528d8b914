#include "standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace
{

int open_null_at(int number)
{
    const int null = open("/dev/null", O_RDWR);
    if (null < 0 || null == number)
        return null < 0 ? -1 : 0;
    // A lower one is closed as well, and stays so.
    const int result = dup2(null, number);
    close(null);
    return result < 0 ? -1 : 0;
}

} // namespace

int standard_descriptors_open(int first)
{
    for (int number = first; number <= STDERR_FILENO; number++) {
        if (fcntl(number, F_GETFD) < 0 && open_null_at(number) != 0)
            return -1;
    }
    return 0;
}

// What a program costs that does nothing: it starts, and ends at once or, as
// "baseline prompt", after a prompt and the end of its input. Built twice: with the C
// library alone, and with the libraries that the shell links.
#include <string.h>
#include <unistd.h>

int main(int argc, char **argv)
{
    if (argc < 2 || strcmp(argv[1], "prompt") != 0)
        return 0;
    char typed[4096];
    if (write(1, "/$ ", 3) != 3)
        return 1;
    while (read(0, typed, sizeof typed) > 0)
        continue;
    return 0;
}

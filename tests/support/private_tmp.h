// Files with fixed names in /tmp, such as the profile, without touching those of
// anybody else.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

// Gives the process a /tmp of its own, so that the profile is nobody else's, and a
// umask with which the profile that a test writes is one: others may not write it.
inline void private_tmp()
{
    static bool done = false;
    if (done)
        return;
    uid_t user = getuid();
    if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        perror("unshare");
        abort();
    }
    if (user != 0) {
        std::string map = "0 " + std::to_string(user) + " 1\n";
        int file = open("/proc/self/uid_map", O_WRONLY | O_CLOEXEC);
        if (file < 0 || write(file, map.data(), map.size()) < 0)
            perror("uid_map");
        close(file);
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/tmp", "tmpfs", 0, nullptr) != 0) {
        perror("mount");
        abort();
    }
    umask(S_IWGRP | S_IWOTH);
    done = true;
}

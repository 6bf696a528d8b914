"""Libraries in place of the platform's that save all registers at each call (spilling_conf.cpp)."""

import platform

import pytest

ENVIRONMENT = {"LD_LIBRARY_PATH": "/tmp/.build/tests/spilling"}
on_x86_only = pytest.mark.skipif(
    platform.machine() not in ("x86_64", "i386", "i486", "i586", "i686"),
    reason="how all registers are saved is written for x86 only",
)

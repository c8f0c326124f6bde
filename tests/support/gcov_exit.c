// SPDX-License-Identifier: Apache-2.0
// Linked by scripts/coverage.sh: _exit() and _Exit() end a process without writing what gcov counted,
// so they are wrapped.
#include <stdlib.h>

void __gcov_dump(void);
_Noreturn void __real__exit(int status);
_Noreturn void __wrap__exit(int status);
_Noreturn void __wrap__Exit(int status);

void __wrap__exit(int status) {
    __gcov_dump();
    __real__exit(status);
}

void __wrap__Exit(int status) {
    __wrap__exit(status);
}

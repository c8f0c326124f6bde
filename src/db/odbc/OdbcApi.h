// SPDX-License-Identifier: Apache-2.0
#pragma once

// The driver manager's headers; those of Windows want another one before them.
#ifdef _WIN32
#include <windows.h>
#endif

#include <sql.h>
#include <sqlext.h>

// SPDX-License-Identifier: Apache-2.0
// An object library needs a source file. This one exists for its precompiled headers.

// SPDX-License-Identifier: Apache-2.0
// A library needs a source; this one has only its precompiled headers to give.

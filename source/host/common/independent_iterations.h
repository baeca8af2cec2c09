// SPDX-License-Identifier: Apache-2.0
// Stands before a loop whose iterations may go in any order, because none reads what another one
// writes: the compiler makes vectors of it without asking at run time whether rows overlap.
#pragma once

#if defined(__clang__)
#define TAVIX_INDEPENDENT_ITERATIONS _Pragma("clang loop vectorize(assume_safety)")
#else
#define TAVIX_INDEPENDENT_ITERATIONS _Pragma("GCC ivdep")
#endif

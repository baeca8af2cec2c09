/* SPDX-License-Identifier: Apache-2.0 */
/* How every public function is declared: C linkage, default visibility, checked format strings. */
#ifndef TAVIX_CORE_API_H
#define TAVIX_CORE_API_H

#ifdef __cplusplus
#define TAVIX_EXTERN_C extern "C"
#else
#define TAVIX_EXTERN_C extern
#endif

#if defined(__GNUC__)
#define TAVIX_API TAVIX_EXTERN_C __attribute__((visibility("default")))
#define TAVIX_PRINTF(format_index, first_argument) \
  __attribute__((format(printf, format_index, first_argument)))
#else
#define TAVIX_API TAVIX_EXTERN_C
#define TAVIX_PRINTF(format_index, first_argument)
#endif

#endif

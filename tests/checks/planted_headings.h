/* SPDX-License-Identifier: Apache-2.0 */
/* Never compiled: its comments have mistakes. */

/**
 * A summary.
 *
 * @par Aliasing
 * A heading that the list does not have.
 *
 * @return a status
 */
TAVIX_API int32_t TavixUnknownHeading(void);

/**
 * A summary.
 *
 * @par Threads
 * Any.
 *
 * @par Formats
 * Any.
 *
 * @return a status
 */
TAVIX_API int32_t TavixOtherOrder(void);

TAVIX_API int32_t TavixNoComment(void);

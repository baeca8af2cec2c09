/* SPDX-License-Identifier: Apache-2.0 */
/* Records, codes and services of the core. */
#ifndef TAVIX_CORE_H
#define TAVIX_CORE_H

#include "tavix/core/codes.h"
#include "tavix/core/host.h"
#include "tavix/core/records.h"
#include "tavix/core/services.h"

#endif

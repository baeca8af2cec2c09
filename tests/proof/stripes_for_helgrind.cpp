// SPDX-License-Identifier: Apache-2.0
// Tells helgrind what the arena guarantees and it cannot see: what is before a loop happens before
// each stripe, and each stripe before what follows the loop. Stands in front of StripeArena::run.
#include <valgrind/helgrind.h>

#include "common/parallel/tavix_parallel_wrapper.h"

using tavix::module::StripeArena;

// The names that the linker gives to the function and to what stands in front of it.
extern "C" {
void real_run(StripeArena *arena, int stripes, const StripeArena::Job &job) __asm__(
    "__real__ZN5tavix6module11StripeArena3runEiRKSt8functionIFviiEE");
void run_in_front(StripeArena *arena, int stripes, const StripeArena::Job &job) __asm__(
    "__wrap__ZN5tavix6module11StripeArena3runEiRKSt8functionIFviiEE");
}

void run_in_front(StripeArena *arena, int stripes, const StripeArena::Job &job) {
  int begun = 0, done = 0;  // their addresses name the two events
  ANNOTATE_HAPPENS_BEFORE(&begun);
  real_run(arena, stripes, [&](int first, int last) {
    ANNOTATE_HAPPENS_AFTER(&begun);
    job(first, last);
    ANNOTATE_HAPPENS_BEFORE(&done);
  });
  ANNOTATE_HAPPENS_AFTER(&done);
  ANNOTATE_HAPPENS_BEFORE_FORGET_ALL(&begun);
  ANNOTATE_HAPPENS_BEFORE_FORGET_ALL(&done);
}

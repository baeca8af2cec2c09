// SPDX-License-Identifier: Apache-2.0
#include <iterator>
#include <mutex>
#include <new>
#include <type_traits>
#include <utility>

#include "aligned_block.h"
#include "log.h"
#include "tavix/core/host.h"
#include "tavix/core/services.h"

namespace {

// A stack: callbacks run newest first.
struct Registration {
  void (*callback)(void) = nullptr;
  Registration *older = nullptr;
};

// The first registrations need no memory, so that what is made when memory runs short can still be
// released. Never destroyed: callbacks may be registered while the program ends.
struct Registry {
  std::mutex mutex;
  Registration *newest = nullptr;
  Registration reserve[16];

  Registration *take() {
    for (Registration &spare : reserve)
      if (spare.callback == nullptr) return &spare;
    return new (std::nothrow) Registration;
  }
  void give_back(Registration *registration) {
    if (std::begin(reserve) <= registration && registration < std::end(reserve))
      *registration = {};
    else
      delete registration;
  }
};
constinit Registry registry;
static_assert(std::is_trivially_destructible_v<Registry>);

}  // namespace

void TavixAtDeinitializeRegister(void (*callback)(void)) {
  if (callback == nullptr) return;
  {
    const std::lock_guard lock(registry.mutex);
    if (Registration *registration = registry.take(); registration != nullptr) {
      *registration = {callback, registry.newest};
      registry.newest = registration;
      return;
    }
  }
  CORE_LOG_ERROR("no memory to register callback %p", reinterpret_cast<void *>(callback));
}

void TavixDeinitialize(void) {
  // A callback runs outside the lock: it may call the core, or register anew for the next time.
  Registration *next = nullptr;
  {
    const std::lock_guard lock(registry.mutex);
    next = std::exchange(registry.newest, nullptr);
  }
  while (next != nullptr) {
    const Registration current = *next;
    {
      const std::lock_guard lock(registry.mutex);
      registry.give_back(next);
    }
    current.callback();
    next = current.older;
  }
  tavix::core::free_kept_blocks();
}

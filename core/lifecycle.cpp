// SPDX-License-Identifier: Apache-2.0
#include <mutex>
#include <vector>

#include "tavix/core/host.h"
#include "tavix/core/services.h"

namespace {

struct Registry {
  std::mutex mutex;
  std::vector<void (*)()> callbacks;
};

// Never destroyed: callbacks may still be registered while the program ends.
Registry &registry() {
  static Registry *instance = new Registry;
  return *instance;
}

}  // namespace

void TavixAtDeinitializeRegister(void (*callback)(void)) {
  if (callback == nullptr) return;
  const std::lock_guard lock(registry().mutex);
  registry().callbacks.push_back(callback);
}

void TavixDeinitialize(void) {
  // A callback runs outside the lock: it may call the core, or register anew for the next time.
  std::vector<void (*)()> callbacks;
  {
    const std::lock_guard lock(registry().mutex);
    callbacks.swap(registry().callbacks);
  }
  for (auto callback = callbacks.rbegin(); callback != callbacks.rend(); ++callback) (*callback)();
}

// SPDX-License-Identifier: Apache-2.0
#include "families.h"
#include "support/seams.h"
#include "tavix/core/host.h"

namespace tavix::fuzz {

void sequences(Choices &c, std::span<const Path>) {
  static const auto levels = test::levels();
  constexpr int kWorkers[] = {1, 8, 2, 3};
  // oneTBB keeps arenas whose workers were late, and walks over all that it keeps.
  static int lives_left = 10000;
  for (int calls = 0; calls < 12 && c.more(); ++calls) {
    const size_t family = c.byte() % (std::size(kFamilies) - 1);
    const module::CpuLevel level = levels[c.byte() % levels.size()];
    const Path path = {level, level != module::CpuLevel::kPortable, c.of(kWorkers)};
    // An arena is made for as many workers as its first loop has.
    if (c.byte() % 8 == 7 && lives_left > 0) {
      --lives_left;
      TavixDeinitialize();
    }
    kFamilies[family].run(c, {&path, 1});
  }
}

}  // namespace tavix::fuzz

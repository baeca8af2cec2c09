// SPDX-License-Identifier: Apache-2.0
// How vector rows put the elements of packed pixels in another order.
#pragma once

namespace tavix::module {

constexpr int kOpaqueElement = -1;

// Where element e of the destination pixels comes from: an element of the source pixels.
constexpr int source_element(int src_step, int dst_step, bool swap, int e) {
  const int x = e / dst_step, c = e % dst_step;
  if (src_step == 1) return c == 3 ? kOpaqueElement : x;
  if (c == 3) return src_step == 4 ? x * 4 + 3 : kOpaqueElement;
  return x * src_step + (swap ? 2 - c : c);
}

// How a block of destination pixels is gathered: its elements are cut into lanes, and each lane
// comes from one or two windows of source elements, as long as a shuffle reaches, that lie within
// the block.
template <int src_step, int dst_step, bool swap, int pixels, int lane, int window>
struct GatherPlan {
  static constexpr int kLanes = pixels * dst_step / lane;
  static_assert(kLanes * lane == pixels * dst_step && pixels * src_step >= window);

  int windows = 1;                              // in use by some lane
  bool adds_alpha = false;                      // to three-channel pixels
  int offset[2][kLanes] = {};                   // first source element of a window
  alignas(64) int index[2][kLanes][lane] = {};  // into a window, negative where it gives nothing
  bool opaque[kLanes][lane] = {};

  constexpr GatherPlan() {
    for (int l = 0; l < kLanes; ++l) {
      bool found[lane] = {};
      for (int i = 0; i < lane; ++i) {
        opaque[l][i] = found[i] = source(l, i) == kOpaqueElement;
        adds_alpha |= opaque[l][i];
      }
      for (int w = 0; w < 2; ++w) {
        int first = pixels * src_step - window;
        for (int i = 0; i < lane; ++i)
          if (!found[i] && source(l, i) < first) first = source(l, i);
        offset[w][l] = first;
        for (int i = 0; i < lane; ++i) {
          const bool here = !found[i] && source(l, i) < first + window;
          index[w][l][i] = here ? source(l, i) - first : -1;
          found[i] |= here;
          if (here) windows = w + 1 > windows ? w + 1 : windows;
        }
      }
      for (int i = 0; i < lane; ++i)
        if (!found[i]) throw "two windows do not reach every element";
    }
    if (windows == 2 && adds_alpha) throw "alpha takes the place of the second window";
  }

 private:
  static constexpr int source(int l, int i) {
    return source_element(src_step, dst_step, swap, l * lane + i);
  }
};

}  // namespace tavix::module

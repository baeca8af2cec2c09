// SPDX-License-Identifier: Apache-2.0
// What "tavix bench" measures: operations, each with the same work by OpenCV on the same memory.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tavix::tool {

// The pictures and tensors that the operations read and write.
struct Workspace;

// width and height: even.
std::shared_ptr<const Workspace> make_workspace(int width, int height);

struct Operation {
  using Work = std::function<void(const Workspace &)>;

  std::string name, peer;  // the peer in OpenCV's words
  double bytes;            // read and written, for each pixel
  Work ours, opencv;
};

const std::vector<Operation> &operations();

}  // namespace tavix::tool

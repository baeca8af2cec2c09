# SPDX-License-Identifier: Apache-2.0
# %% [markdown]
# # Preprocessing for a classifier
# From a decoded picture to probabilities: convert, resize, normalise, pack, softmax.

# %%
import sys

import av
import cv2
import numpy as np
import torch
from make_clip import make_clip

import tavix

output = sys.argv[1] if len(sys.argv) > 1 else "."
MEAN, SCALE = (123.7, 116.3, 103.5), (0.0171, 0.0175, 0.0174)
LABELS = ("left", "middle", "right")


# %% A small network whose weights are made here: which third holds the brightest pixels?
def network(batch: torch.Tensor) -> torch.Tensor:
    bright = torch.relu(batch[:, :2].mean(1) - 1.2)  # red and green, above the background
    thirds = torch.stack([part.sum((1, 2)) for part in bright.tensor_split(3, dim=2)], 1)
    return thirds / 150


# %% One batch of memory for the whole video; each picture goes into its row.
with av.open(make_clip(f"{output}/clip.mp4")) as container:
    pictures = list(container.decode(video=0))[::6]
batch = np.empty((len(pictures), 3, 96, 96), np.float32)
small = np.empty((len(pictures), 96, 96, 3), np.uint8)
for row, picture in enumerate(pictures):
    rgb = tavix.convert(tavix.from_av(picture, color_range="tv"), "rgb24")
    tavix.resize(rgb.array, interpolation="area", out=small[row])
    floats = tavix.normalize(small[row], MEAN, SCALE)
    tavix.to_blob(floats, out=batch[row : row + 1])

# %% PyTorch sees the same memory, and gives back its own.
logits = network(torch.from_numpy(batch))
probabilities = tavix.softmax(logits)
np.testing.assert_allclose(probabilities.sum(1), 1, rtol=1e-6)
names = [LABELS[n] for n in probabilities.argmax(1)]
print(list(zip(names, probabilities.max(1).round(2))))
assert names[0] == "left" and names[-1] == "right" and "middle" in names

# %% The pictures with what was found beneath.
sheet = np.full((3 * 120, 3 * 100, 3), 30, np.uint8)
for row, name in enumerate(names):
    top, left = row // 3 * 120, row % 3 * 100
    tavix.copy(small[row], out=sheet[top : top + 96, left : left + 96])
    cv2.putText(sheet, name, (left + 4, top + 112), 0, 0.45, (240, 240, 240), 1, cv2.LINE_AA)
cv2.imwrite(f"{output}/classify.png", tavix.convert(sheet, "bgr24"))

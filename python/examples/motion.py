# SPDX-License-Identifier: Apache-2.0
# %% [markdown]
# # Motion
# What moves is where a picture differs from the one before; a slow mean shows the path.

# %%
import sys

import av
import cv2
import numpy as np
from make_clip import make_clip

import tavix

output = sys.argv[1] if len(sys.argv) > 1 else "."
clip = make_clip(f"{output}/clip.mp4")
square = np.ones((5, 5), np.uint8)

# %% Grey is the luma plane: no conversion is needed to look for motion.
before = trail = None
areas: list[float] = []
with av.open(clip) as container:
    for picture in container.decode(video=0):
        luma = tavix.from_av(picture).planes[0]
        if before is not None and trail is not None:
            change = tavix.absdiff(luma, before)
            mask = tavix.threshold(change, 25)
            mask = tavix.dilate(tavix.erode(mask, np.ones((3, 3), np.uint8)), square)
            areas.append(float(tavix.mean(mask)[0]) / 255)
            # The trail keeps the largest change of each pixel, and forgets a little every time.
            tavix.maximum(trail, mask, alpha=0.97, out=trail)
        else:
            trail = np.zeros_like(luma)
        before = tavix.copy(luma)

assert trail is not None and 0.001 < np.mean(areas) < 0.2
print(f"{100 * np.mean(areas):.2f} % of each picture moved")

# %% The last picture, with the trail in red over it.
last = np.repeat(before[:, :, None], 3, 2) if before is not None else np.zeros((1, 1, 3), np.uint8)
red = np.zeros_like(last)
red[:, :, 0] = trail
shown = tavix.add(last, red, alpha=0.6)
side = np.concatenate([last, shown], 1)
cv2.imwrite(f"{output}/motion.png", tavix.convert(side, "bgr24"))

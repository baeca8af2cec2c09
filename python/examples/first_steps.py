# SPDX-License-Identifier: Apache-2.0
# %% [markdown]
# # First steps
# Pictures are NumPy arrays. Regions are views, results are new arrays or go into `out`.

# %%
import sys

import cv2
import numpy as np

import tavix

output = sys.argv[1] if len(sys.argv) > 1 else "."

# %% A picture of our own: red grows to the right, green downwards.
y, x = np.mgrid[0:240, 0:320]
picture = np.stack([x * 255 / 319, y * 255 / 239, np.full_like(x, 90)], -1).astype(np.uint8)
before = picture.copy()

# %% A number for all channels, or one for each; the region is brightened where it lies.
region = picture[60:180, 80:240]
tavix.multiply_add(region, scale=0.5, offset=(120, 80, 0), out=region)
assert (picture[:60] == before[:60]).all() and (region != before[60:180, 80:240]).any()

# %% What changed, and by how much.
change = tavix.absdiff(picture, before)
print("mean change of red, green and blue:", tavix.mean(change).round(1))

# %% Geometry and filters work on the same arrays.
small = tavix.resize(picture, scale=0.5, interpolation="area")
soft = tavix.blur(picture, (9, 9))
turned = tavix.warp_affine(picture, cv2.getRotationMatrix2D((160, 120), 15, 0.9))
edges = tavix.absdiff(picture, soft)

# %% A refused call says what was wrong.
try:
    tavix.add(picture, small)
except tavix.TavixError as error:
    print(error.status_name, error.shapes)

# %% Four views in one picture; every part is written through a view.
sheet = np.zeros((480, 640, 3), np.uint8)
for index, view in enumerate((picture, soft, turned, tavix.multiply_add(edges, 4))):
    top, left = divmod(index, 2)
    tavix.copy(view, out=sheet[top * 240 : top * 240 + 240, left * 320 : left * 320 + 320])
cv2.imwrite(f"{output}/first_steps.png", tavix.convert(sheet, "bgr24"))

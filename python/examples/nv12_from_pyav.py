# SPDX-License-Identifier: Apache-2.0
# %% [markdown]
# # NV12 from PyAV
# A decoded picture is seen where the decoder wrote it: no copy, and the planes stay planes.

# %%
import sys

import av
import cv2
import numpy as np
from make_clip import make_clip

import tavix

output = sys.argv[1] if len(sys.argv) > 1 else "."
clip = make_clip(f"{output}/clip.mp4")

# %% Decode one picture. PyAV says the pixel format; colour space and range are told by name.
with av.open(clip) as container:
    decoded = next(container.decode(video=0)).reformat(format="nv12")
frame = tavix.from_av(decoded, color_space="bt709", color_range="tv")
print(frame)

# %% Luma and chroma are arrays over the decoder's own memory, and read-only.
luma, chroma = frame.planes
print("luma", luma.shape, "chroma", chroma.shape, "rows", luma.strides[0], "bytes apart")
assert luma.ctypes.data == decoded.planes[0].buffer_ptr and not luma.flags.writeable

# %% A region of 4:2:0 is a view too, of all planes at once.
part = frame.region(64, 32, 192, 160)

# %% The colours: one conversion, straight from the planes.
rgb = tavix.convert(frame, "rgb24").array
close = tavix.resize(tavix.convert(part, "rgb24").array, (384, 320), interpolation="cubic")

# %% And back: an av.VideoFrame for an encoder.
encoded = tavix.to_av(tavix.convert(rgb, "i420", color_space="bt709"))
assert encoded.format.name == "yuv420p"

# %% In a notebook, a frame at the end of a cell shows itself as this picture.
shown = np.zeros((320, 384 * 2, 3), np.uint8)
tavix.resize(rgb, (384, 320), out=shown[:, :384])
tavix.copy(close, out=shown[:, 384:])
with open(f"{output}/nv12_from_pyav.png", "wb") as file:
    file.write(tavix.Frame(shown, "rgb24")._repr_png_())
assert cv2.imread(f"{output}/nv12_from_pyav.png").shape == (320, 768, 3)

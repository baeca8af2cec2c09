# SPDX-License-Identifier: Apache-2.0
# %% [markdown]
# # Statistics over time
# Mean and deviation of each channel of every picture, as a plot.

# %%
import sys

import av
import matplotlib
import numpy as np
from make_clip import make_clip

import tavix

matplotlib.use("Agg")
from matplotlib import pyplot  # noqa: E402

output = sys.argv[1] if len(sys.argv) > 1 else "."
clip = make_clip(f"{output}/clip.mp4")

# %% One frame of memory for all pictures, one row of each array for each picture.
seconds, means, deviations = [], [], []
rgb: tavix.Frame | None = None
with av.open(clip) as container:
    for picture in container.decode(video=0):
        frame = tavix.from_av(picture, color_range="tv")
        if rgb is None:
            rgb = tavix.Frame.zeros("rgb24", frame.width, frame.height)
        tavix.convert(frame, "rgb24", out=rgb)
        seconds.append(picture.time)
        means.append(tavix.mean(rgb))
        deviations.append(tavix.std(rgb))
mean, deviation = np.array(means), np.array(deviations)
assert mean.shape == deviation.shape == (50, 3)

# %% The same from NumPy, for the last picture: sums of bytes are exact.
assert rgb is not None
np.testing.assert_allclose(mean[-1], rgb.array.reshape(-1, 3).mean(0), rtol=1e-12)

# %%
figure, axes = pyplot.subplots(2, 1, sharex=True, figsize=(7, 5), layout="constrained")
for channel, name in enumerate(("red", "green", "blue")):
    axes[0].plot(seconds, mean[:, channel], color=f"tab:{name}", label=name)
    axes[1].plot(seconds, deviation[:, channel], color=f"tab:{name}")
axes[0].set(title="Channels of a clip", ylabel="mean")
axes[1].set(xlabel="seconds", ylabel="standard deviation")
axes[0].legend(loc="center right")
figure.savefig(f"{output}/statistics_over_time.png", dpi=110)

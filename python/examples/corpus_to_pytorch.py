# SPDX-License-Identifier: Apache-2.0
# %% [markdown]
# # A corpus, and how to read it back into PyTorch
# `tavix-corpus` turns a folder of videos into an array store; `Corpus` is a dataset of it.

# %%
import os
import subprocess
import sys
from typing import Any

import cv2
import numpy as np
import torch
from make_clip import make_clip

import tavix
from tavix.corpus import Corpus

output = sys.argv[1] if len(sys.argv) > 1 else "."

# %% Three videos that differ in their blue.
os.makedirs(f"{output}/videos", exist_ok=True)
for n, hue in enumerate((0, 40, 80)):
    make_clip(f"{output}/videos/clip{n}.mp4", seconds=1 + n, hue=hue)

# %% The command. On a cluster it takes --scheduler tcp://host:8786 besides.
command = "--size 96 --every 0.25s --mean 128 --scale 0.0078125 --workers 1 --quiet".split()
subprocess.run(
    [sys.executable, "-m", "tavix.corpus.command", f"{output}/videos",
     "--output", f"{output}/store", *command],
    check=True,
)  # fmt: skip

# %% A dataset like any other: loaders, batches, workers.
corpus = Corpus(f"{output}/store")
loader: Any = torch.utils.data.DataLoader(corpus, batch_size=8, shuffle=True)  # type: ignore
count, total = 0, torch.zeros(3)
for batch in loader:
    assert tuple(batch.shape[1:]) == (3, 96, 96) and batch.dtype == torch.float32
    count += len(batch)
    total += batch.mean((2, 3)).sum(0)
print(len(corpus), "pictures; mean of red, green and blue:", (total / count).numpy().round(3))
assert count == len(corpus) == 24

# %% Back to pictures: the first of each second, with what the index says of it.
firsts = [n for n in range(len(corpus)) if corpus.entry(n).seconds % 1 < 0.01]
sheet = np.zeros((96 * 2, 96 * 3, 3), np.uint8)
for place, n in enumerate(firsts):
    restored = tavix.from_blob(tavix.multiply_add(corpus[n][0], 128, 128)[None, None], dtype="uint8")
    whole = tavix.normalize(tavix.from_blob(corpus[n][None]), -1, 128, dtype="uint8")
    assert np.abs(whole[..., 0].astype(int) - restored).max() <= 1
    row, column = divmod(place, 3)
    tavix.copy(whole, out=sheet[row * 96 : row * 96 + 96, column * 96 : column * 96 + 96])
    print(corpus.entry(n))
cv2.imwrite(f"{output}/corpus_to_pytorch.png", tavix.convert(sheet, "bgr24"))

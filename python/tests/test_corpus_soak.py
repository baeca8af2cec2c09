# SPDX-License-Identifier: Apache-2.0
"""Thousands of short clips: everything arrives, and memory stays bounded."""

import os
import resource

from clusters import run_corpus
from videos import make_clip

from tavix.corpus import Corpus

CLIPS = int(os.environ.get("TAVIX_SOAK_CLIPS", "2000"))


def test_many_short_clips(tmp_path):
    folder, store = tmp_path / "clips", tmp_path / "store"
    folder.mkdir()
    made = [make_clip(tmp_path / f"{n}.mp4", 1, "96x64", 10, source=s)
            for n, s in enumerate(("testsrc", "testsrc2", "smptebars"))]  # fmt: skip
    for n in range(CLIPS):
        os.link(made[n % 3], folder / f"clip{n:05d}.mp4")
    done = run_corpus(
        folder, "--output", store, "--size", "32", "--workers", "2", timeout=3000
    )
    assert done.returncode == 0, done.stderr
    assert f"{CLIPS} videos: {CLIPS} done; {2 * CLIPS} samples" in done.stdout
    corpus = Corpus(str(store))
    assert len(corpus) == 2 * CLIPS
    first = [corpus[n].tobytes() for n in range(6)]
    assert all(corpus[n].tobytes() == first[n % 6] for n in range(len(corpus)))
    # The command and its workers, the largest of them.
    peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
    assert peak < 600 * 1024

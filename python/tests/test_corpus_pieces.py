# SPDX-License-Identifier: Apache-2.0
"""Planning, decoding, packing and reading back, each beside a plain reference."""

import json
import sqlite3

import av
import cv2
import numpy as np
import pytest
import torch
from clusters import contents
from videos import damage, make_clip

import tavix
from tavix.corpus import Corpus
from tavix.corpus.index import write_index
from tavix.corpus.plan import BadVideo, Plan, find_videos, plan_video, video_key
from tavix.corpus.report import fate_of
from tavix.corpus.segment import write_segment
from tavix.corpus.settings import Settings
from tavix.corpus.store import BusyStore, OtherSettings, Store


def all_pictures(path):
    with av.open(str(path)) as container:
        stream = container.streams.video[0]
        return [(p.pts, p.pts * stream.time_base, p) for p in container.decode(stream)]


def make_store(folder, settings, *paths):
    store = Store(str(folder))
    store.create(settings)
    plans = []
    for path in paths:
        plan = plan_video(path.name, str(path), settings)
        store.write(f"videos/{plan.key}.json", plan.to_json())
        for segment in plan.segments:
            write_segment(str(folder), plan, segment, settings)
        plans.append(plan)
    write_index(store)
    return store, plans


@pytest.mark.parametrize("options", [(), ("-bf", "3"), ("-x264-params", "open-gop=1:bframes=3")])
@pytest.mark.parametrize(("every", "chunk"), [(0.5, 4), (0.3, 2), (0.04, 64), (0.07, 3), (9, 4)])
def test_samples_are_those_of_all_pictures(tmp_path, options, every, chunk):
    clip = make_clip(tmp_path / "clip.mp4", 3, options=options)
    plan = plan_video("clip.mp4", str(clip), Settings(every=every, chunk=chunk))
    pictures = all_pictures(clip)
    expected, last = [], -1
    for number, (pts, seconds, _) in enumerate(pictures):
        tick = int((seconds - pictures[0][1]) / every + 1e-9)
        if tick > last:
            expected.append((number, pts))
            last = tick
    made = [(s.frame, s.pts) for segment in plan.segments for s in segment.samples]
    assert made == expected
    assert Plan.from_json(plan.to_json()) == plan
    for segment, following in zip(plan.segments, plan.segments[1:], strict=False):
        assert segment.end == following.start
        assert all(segment.start <= s.pts < following.start for s in segment.samples)
    # One group of pictures is never cut; groups are joined up to a chunk.
    assert all(len(s.samples) <= max(chunk, 25 * 0.04 / every + 1) for s in plan.segments)


def test_rows_are_the_pictures(tmp_path):
    clip = make_clip(tmp_path / "clip.mp4", 3, "160x100")
    mean, scale = (120.0, 110.0, 100.0), (0.02, 0.03, 0.04)
    settings = Settings(size=50, every=0.4, mean=mean, scale=scale, chunk=3)
    store, (plan,) = make_store(tmp_path / "store", settings, clip)
    corpus = Corpus(str(store.path))
    pictures = all_pictures(clip)
    assert len(corpus) == sum(len(s.samples) for s in plan.segments) == 8
    for n in range(len(corpus)):
        entry = corpus.entry(n)
        picture = pictures[entry.frame][2]
        square = picture.to_ndarray(format="rgb24")[:, 30:130]
        small = cv2.resize(square, (50, 50), interpolation=cv2.INTER_AREA).astype(np.float32)
        expected = ((small - mean) * scale).transpose(2, 0, 1)
        assert corpus[n].dtype == np.float32
        # Two conversions from 4:2:0 differ by a few steps of 255.
        assert np.abs(corpus[n] - expected).max() < 6 * max(scale)
        assert np.abs(corpus[n] - expected).mean() < 1.5 * max(scale)
        assert entry.seconds == pytest.approx(float(pictures[entry.frame][1]))


@pytest.mark.parametrize(
    ("size", "square"), [("99x75", np.s_[0:74, 12:86]), ("51x98", np.s_[24:74, 0:50])]
)
def test_odd_sizes(tmp_path, size, square):
    """The square is made of whole chroma samples, so that every pixel of it has a colour."""
    options = ("-c:v", "ffv1", "-vf", f"scale={size.replace('x', ':')},format=yuv420p")
    clip = make_clip(tmp_path / "clip.mkv", 1, "200x200", options=options)
    store, _ = make_store(tmp_path / "store", Settings(size=25), clip)
    whole = tavix.convert(tavix.from_av(all_pictures(clip)[0][2]), "rgb24").array
    expected = cv2.resize(whole[square], (25, 25), interpolation=cv2.INTER_AREA)
    np.testing.assert_array_equal(Corpus(str(store.path))[0], expected.transpose(2, 0, 1))


def test_bytes(tmp_path):
    clip = make_clip(tmp_path / "clip.mp4", 1)
    store, _ = make_store(tmp_path / "store", Settings(size=32, dtype="uint8"), clip)
    floats, _ = make_store(tmp_path / "floats", Settings(size=32), clip)
    for a, b in zip(Corpus(str(store.path)), Corpus(str(floats.path)), strict=False):
        assert a.dtype == np.uint8
        np.testing.assert_array_equal(a, b)


def test_index(tmp_path):
    clips = [make_clip(tmp_path / name, 2) for name in ("b.mp4", "a.mp4")]
    store, _ = make_store(tmp_path / "store", Settings(size=16, chunk=2), *clips)
    database = sqlite3.connect(store.path / "index.sqlite")
    rows = database.execute("SELECT * FROM pictures").fetchall()
    assert [row[0] for row in rows] == ["a.mp4"] * 4 + ["b.mp4"] * 4
    corpus = Corpus(str(store.path))
    for n, row in enumerate(rows):
        pixels = corpus[n].reshape(3, -1).astype(np.float64)
        np.testing.assert_allclose(row[5:8], pixels.mean(1), rtol=1e-12)
        np.testing.assert_allclose(row[8:11], pixels.std(1), rtol=1e-9)


def test_a_dataset_of_torch(tmp_path):
    store, _ = make_store(tmp_path / "s", Settings(size=16), make_clip(tmp_path / "a.mp4", 3))
    loader = torch.utils.data.DataLoader(Corpus(str(store.path)), batch_size=4, num_workers=2)
    batches = list(loader)
    assert [tuple(b.shape) for b in batches] == [(4, 3, 16, 16), (2, 3, 16, 16)]


def test_damaged_packets_cost_their_pictures_alone(tmp_path):
    clip = make_clip(tmp_path / "clip.ts", 6, options=("-f", "mpegts"))
    whole, _ = make_store(tmp_path / "whole", Settings(size=16, every=0.04, chunk=25), clip)
    size = clip.stat().st_size
    damage(clip, size // 2, size // 12)
    store, (plan,) = make_store(tmp_path / "store", Settings(size=16, every=0.04, chunk=25), clip)
    fate = fate_of(store, plan, {})
    assert fate.segments_done == fate.segments
    corpus, reference = Corpus(str(store.path)), Corpus(str(whole.path))
    assert len(reference) * 0.6 < len(corpus) <= len(reference)


@pytest.mark.parametrize("text", [b"", b"no video", b"\0" * 5000])
def test_files_that_are_no_videos(tmp_path, text):
    path = tmp_path / "clip.mp4"
    path.write_bytes(text)
    with pytest.raises(BadVideo):
        plan_video("clip.mp4", str(path), Settings())


def test_a_file_with_sound_alone(tmp_path):
    import subprocess

    path = tmp_path / "sound.mp4"
    subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "sine=duration=1", path],
                   check=True)  # fmt: skip
    with pytest.raises(BadVideo, match="no video stream"):
        plan_video("sound.mp4", str(path), Settings())


def test_names(tmp_path):
    for name in ("x/a.mp4", "x/b.MKV", "x/y/c.mp4", "x/notes.txt", "a.mp4"):
        path = tmp_path / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(name.encode())
    assert [n for n, _ in find_videos([str(tmp_path / "x")])] == ["a.mp4", "b.MKV", "y/c.mp4"]
    with pytest.raises(ValueError, match="called a.mp4"):
        find_videos([str(tmp_path / "x"), str(tmp_path / "a.mp4")])
    with pytest.raises(FileNotFoundError):
        find_videos([str(tmp_path / "none")])
    path = str(tmp_path / "a.mp4")
    key = video_key("a.mp4", path)
    assert key == video_key("a.mp4", path) != video_key("b.mp4", path)
    (tmp_path / "a.mp4").write_bytes(b"other")
    assert key != video_key("a.mp4", path)


def test_shards_appear_whole_or_not_at_all(tmp_path, monkeypatch):
    import tavix.corpus.segment as segment_module

    clip, settings = make_clip(tmp_path / "clip.mp4", 2), Settings(size=16, every=0.1, chunk=4)
    store = Store(str(tmp_path / "store"))
    store.create(settings)
    plan = plan_video("clip.mp4", str(clip), settings)
    rows = 0

    def row(self, picture, out):
        nonlocal rows
        rows += 1
        if rows == 7:
            raise OSError(28, "No space left on device")
        out[...] = 0
        return {"mean": [0, 0, 0], "std": [0, 0, 0]}

    monkeypatch.setattr(segment_module.Preprocessor, "row", row)
    with pytest.raises(OSError, match="No space"):
        write_segment(str(store.path), plan, plan.segments[0], settings)
    assert list(store.shards()) == [] and list((store.path / "unfinished").iterdir()) == []
    write_segment(str(store.path), plan, plan.segments[0], settings)
    before = contents(store.path)
    write_segment(str(store.path), plan, plan.segments[0], settings)  # twice is once
    assert contents(store.path) == before and len(list(store.shards())) == 1


def test_stores_refuse_other_settings_and_second_writers(tmp_path):
    store = Store(str(tmp_path / "store"))
    store.create(Settings())
    store.create(Settings())
    with pytest.raises(OtherSettings):
        store.create(Settings(size=32))
    with store.locked(), pytest.raises(BusyStore), Store(str(tmp_path / "store")).locked():
        pass
    assert json.loads((store.path / "settings.json").read_text())["size"] == 224

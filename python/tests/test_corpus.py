# SPDX-License-Identifier: Apache-2.0
"""The command on real schedulers and workers, and everything that can happen to them."""

import json
import os
import pathlib
import re
import signal
import subprocess
import time

import pytest
from clusters import cluster, contents, run_corpus, start_corpus, wait_for_shards
from videos import make_clip

from tavix.corpus import Corpus

OPTIONS = ("--size", "48", "--every", "0.1s", "--chunk", "10")


@pytest.fixture(scope="module")
def clips(tmp_path_factory):
    """One long video, some short ones."""
    folder = tmp_path_factory.mktemp("clips")
    make_clip(folder / "long.mp4", 60, "320x240")
    for n in range(4):
        make_clip(folder / f"short{n}.mp4", 2 + n)
    return folder


@pytest.fixture(scope="module")
def reference(clips, tmp_path_factory):
    """The store that every other run must make again."""
    store = tmp_path_factory.mktemp("reference") / "store"
    done = run_corpus(clips, "--output", store, "--workers", 1, *OPTIONS)
    assert done.returncode == 0, done.stderr
    assert "5 videos: 5 done" in done.stdout
    return contents(store)


def run_until(shards, clips, store, *options):
    """A run that goes on, and has made so many shards."""
    run = start_corpus(clips, "--output", store, *OPTIONS, *options)
    wait_for_shards(store, shards, run)
    return run


def fates(store):
    return {f["video"]: f for f in json.loads((store / "report.json").read_text())}


@pytest.mark.parametrize("workers", [2, 4])
def test_any_number_of_workers_makes_the_same_bytes(clips, reference, tmp_path, workers):
    store = tmp_path / "store"
    with cluster(tmp_path, workers) as made:
        done = run_corpus(clips, "--output", store, "--scheduler", made.address, *OPTIONS)
    assert done.returncode == 0, done.stderr
    assert contents(store) == reference
    assert len(Corpus(str(store))) == sum(f["samples"] for f in fates(store).values())


def test_a_second_run_does_nothing(clips, reference, tmp_path):
    store = tmp_path / "store"
    assert run_corpus(clips, "--output", store, "--workers", 2, *OPTIONS).returncode == 0
    times = {p: p.stat().st_mtime_ns for p in (store / "shards").rglob("*")}
    assert run_corpus(clips, "--output", store, "--workers", 1, *OPTIONS).returncode == 0
    assert times == {p: p.stat().st_mtime_ns for p in (store / "shards").rglob("*")}
    assert contents(store) == reference


def test_a_worker_killed_in_the_middle(clips, reference, tmp_path):
    store = tmp_path / "store"
    with cluster(tmp_path, 2) as made:
        run = run_until(3, clips, store, "--scheduler", made.address)
        made.workers[0].kill()
        output, errors = run.communicate(timeout=200)
    assert run.returncode == 0, errors
    assert contents(store) == reference and "5 done" in output


def test_a_scheduler_that_comes_back(clips, reference, tmp_path):
    store = tmp_path / "store"
    with cluster(tmp_path, 2) as made:
        run = run_until(3, clips, store, "--scheduler", made.address)
        for process in [made.scheduler, *made.workers]:
            process.kill()
            process.wait()
        made.workers.clear()
        made.start_scheduler()
        made.add_worker()
        output, errors = run.communicate(timeout=200)
    assert run.returncode == 0, errors
    assert contents(store) == reference and "5 done" in output


def test_a_scheduler_that_stays_away(clips, tmp_path):
    store = tmp_path / "store"
    with cluster(tmp_path, 1) as made:
        run = run_until(2, clips, store, "--scheduler", made.address, "--reconnect", "3s")
        made.scheduler.kill()
        made.scheduler.wait()
        output, errors = run.communicate(timeout=100)
    assert run.returncode == 4 and "scheduler is lost" in errors
    assert "unfinished" in output
    assert len(Corpus(str(store))) > 0


# A worker runs its preload more than once.
POISON = """
import os, signal
import tavix.corpus.segment as segment

if not hasattr(segment, "plain"):
    segment.plain = segment.decoded

def decoded(plan, part):
    if plan.name == "poison.mp4":
        os.kill(os.getpid(), signal.SIGKILL)
    if plan.name == "deep.mp4":
        return decoded(plan, part)  # the error that this makes cannot be sent
    return segment.plain(plan, part)
segment.decoded = decoded
"""


@pytest.mark.parametrize("workers", [1, 2])
def test_a_video_that_ends_its_workers(clips, reference, tmp_path, workers):
    """Tasks that wait for the same worker are not taken for the one that ends it."""
    folder, store = tmp_path / "clips", tmp_path / "store"
    folder.mkdir()
    for clip in clips.iterdir():
        os.link(clip, folder / clip.name)
    make_clip(folder / "poison.mp4", 3)
    make_clip(folder / "deep.mp4", 1)
    (tmp_path / "poison.py").write_text(POISON)
    with cluster(tmp_path, workers, preload=tmp_path / "poison.py", nanny=True) as made:
        done = run_corpus(folder, "--output", store, "--scheduler", made.address, *OPTIONS)
    assert done.returncode == 1, done.stderr
    told = fates(store)
    assert told["poison.mp4"]["state"] == "failed" and "worker" in told["poison.mp4"]["reason"]
    assert told["deep.mp4"]["state"] == "failed" and "Recursion" in told["deep.mp4"]["reason"]
    assert [f["state"] for f in told.values()].count("done") == 5
    others = {
        k: v
        for k, v in contents(store).items()
        if not k.startswith(("videos/poison", "videos/deep", "index"))
    }
    # Paths differ, for the folder is another one.
    assert {k for k in others} == {k for k in reference if not k.startswith("index")}
    assert all(others[k] == reference[k] for k in others if k.startswith("shards/"))


def test_bad_videos_among_good_ones(tmp_path):
    folder, store = tmp_path / "clips", tmp_path / "store"
    folder.mkdir()
    make_clip(folder / "good.mp4", 2)
    (folder / "empty.mp4").write_bytes(b"")
    (folder / "text.mkv").write_text("no video")
    cut = make_clip(folder / "cut.ts", 4, options=("-f", "mpegts"))
    cut.write_bytes(cut.read_bytes()[: cut.stat().st_size // 2])
    done = run_corpus(folder, "--output", store, "--workers", 1, *OPTIONS)
    assert done.returncode == 1
    told = fates(store)
    assert {v: f["state"] for v, f in told.items() if v != "cut.ts"} == {
        "empty.mp4": "failed", "good.mp4": "done", "text.mkv": "failed",
    }  # fmt: skip
    assert told["cut.ts"]["state"] in ("done", "damaged") and told["cut.ts"]["samples_done"] > 10
    for name in ("empty.mp4", "text.mkv"):
        assert name in done.stdout and told[name]["reason"]


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_an_interrupt(clips, reference, tmp_path, number):
    store = tmp_path / "store"
    run = run_until(2, clips, store, "--workers", 1)
    run.send_signal(number)
    output, errors = run.communicate(timeout=60)
    assert run.returncode == 130 and "interrupted" in errors and "unfinished" in output
    assert not list((store / "unfinished").iterdir())
    stored = {k: v for k, v in contents(store).items() if k.startswith("shards/")}
    assert stored and all(reference[k] == v for k, v in stored.items())
    assert 0 < len(Corpus(str(store)))
    assert run_corpus(clips, "--output", store, "--workers", 2, *OPTIONS).returncode == 0
    assert contents(store) == reference


def test_the_command_killed_in_the_middle(clips, reference, tmp_path):
    store = tmp_path / "store"
    with cluster(tmp_path, 1) as made:
        run = run_until(2, clips, store, "--scheduler", made.address)
        run.kill()
        run.communicate()
        time.sleep(0.5)
        done = run_corpus(clips, "--output", store, "--scheduler", made.address, *OPTIONS)
    assert done.returncode == 0, done.stderr
    assert contents(store) == reference


@pytest.mark.skipif(os.geteuid() != 0, reason="only root mounts a small disk")
def test_a_full_disk(clips, reference, tmp_path):
    disk = tmp_path / "disk"
    disk.mkdir()
    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=3m", "tmpfs", disk]).returncode != 0:
        pytest.skip("no small disk can be mounted here")
    try:
        done = run_corpus(clips, "--output", disk / "store", "--workers", 2, *OPTIONS)
        assert done.returncode == 3 and "disk is full" in done.stderr, done.stderr
        assert "unfinished" in done.stdout
        stored = {k: v for k, v in contents(disk / "store").items() if k.startswith("shards/")}
        assert stored and all(reference[k] == v for k, v in stored.items())
        subprocess.run(["mount", "-o", "remount,size=64m", disk], check=True)
        done = run_corpus(clips, "--output", disk / "store", "--workers", 2, *OPTIONS)
        assert done.returncode == 0, done.stderr
        assert contents(disk / "store") == reference
    finally:
        subprocess.run(["umount", disk], check=True)


def test_a_video_that_changes(tmp_path):
    folder, store = tmp_path / "clips", tmp_path / "store"
    folder.mkdir()
    make_clip(folder / "a.mp4", 3)
    assert run_corpus(folder, "--output", store, "--workers", 1, *OPTIONS).returncode == 0
    before = contents(store)
    make_clip(folder / "a.mp4", 2, source="testsrc")
    assert run_corpus(folder, "--output", store, "--workers", 1, *OPTIONS).returncode == 0
    after = contents(store)
    assert {k.split("/")[1] for k in before if "/" in k}.isdisjoint(
        k.split("/")[1] for k in after if "/" in k
    )
    assert len(Corpus(str(store))) == 20


def test_usage(tmp_path):
    make_clip(tmp_path / "a.mp4", 1)
    good = (tmp_path / "a.mp4", "--output", tmp_path / "store")
    for wrong in (
        ("--size", "0"), ("--every", "0s"), ("--every", "x"), ("--mean", "1,2"),
        ("--dtype", "int8"), ("--dtype", "uint8", "--mean", "1"),
    ):  # fmt: skip
        done = run_corpus(*good, *wrong)
        assert done.returncode == 2 and "error:" in done.stderr
    assert run_corpus(tmp_path / "none", "--output", tmp_path / "store").returncode == 2
    assert run_corpus(*good, "--size", "32", "--workers", "1").returncode == 0
    done = run_corpus(*good, "--size", "64", "--workers", "1")
    assert done.returncode == 2 and "other settings" in done.stderr


def test_manual_page():
    """It has every option that the help shows, and nothing that man complains about."""
    shown = run_corpus("--help")
    assert shown.returncode == 0
    page = (pathlib.Path(__file__).parents[1] / "tavix-corpus.1").read_text()
    options = set(re.findall(r"--[a-z]+", shown.stdout))
    assert options == set(re.findall(r"--[a-z]+", page.replace("\\-", "-")))
    assert {"--output", "--size", "--scheduler"} <= options
    groff = ["groff", "-man", "-Tutf8", "-ww"]
    made = subprocess.run(groff, input=page, capture_output=True, text=True, check=True)
    assert made.stderr == ""

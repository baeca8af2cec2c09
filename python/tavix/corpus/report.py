# SPDX-License-Identifier: Apache-2.0
"""The fate of each video."""

from __future__ import annotations

import dataclasses
import json
from collections.abc import Iterable, Mapping

from tavix.corpus.plan import Plan
from tavix.corpus.store import Store


@dataclasses.dataclass(frozen=True)
class Fate:
    """state: done; damaged, where pictures could not be decoded; unfinished; or failed."""

    video: str
    state: str
    segments: int
    segments_done: int
    samples: int
    samples_done: int
    reason: str = ""


def fate_of(store: Store, plan: Plan, errors: Mapping[str, str]) -> Fate:
    """What the store holds of a video, and why not more."""
    present = [segment for segment in plan.segments if store.has_shard(plan, segment)]
    stored = sum(store.samples_in(plan, segment) for segment in present)
    expected = sum(len(segment.samples) for segment in plan.segments)
    reason = errors.get(plan.name, "")
    if len(present) < len(plan.segments):
        state = "failed" if reason else "unfinished"
    elif stored < expected:
        state, reason = "damaged", f"{expected - stored} of {expected} samples cannot be decoded"
    else:
        state, reason = "done", ""
    return Fate(plan.name, state, len(plan.segments), len(present), expected, stored, reason)


def fates_of(
    store: Store, names: Iterable[str], plans: Mapping[str, Plan], errors: Mapping[str, str]
) -> list[Fate]:
    fates = []
    for name in names:
        if name in plans:
            fates.append(fate_of(store, plans[name], errors))
        else:
            reason = errors.get(name, "")
            fates.append(Fate(name, "failed" if reason else "unfinished", 0, 0, 0, 0, reason))
    return fates


def to_json(fates: Iterable[Fate]) -> str:
    return json.dumps([dataclasses.asdict(fate) for fate in fates], indent=1) + "\n"


def to_text(fates: Iterable[Fate]) -> str:
    """A line for each video that is not done, then the numbers."""
    fates = list(fates)
    lines = [
        f"{fate.state:<11}{fate.video}: {fate.reason or 'to be continued'}"
        for fate in fates
        if fate.state != "done"
    ]
    states = [fate.state for fate in fates]
    numbers = [
        f"{states.count(state)} {state}"
        for state in ("done", "damaged", "failed", "unfinished")
        if state in states
    ]
    samples = sum(fate.samples_done for fate in fates)
    lines.append(f"{len(fates)} videos: {', '.join(numbers)}; {samples} samples")
    return "\n".join(lines)

# SPDX-License-Identifier: Apache-2.0
"""The index: one row for each picture of the store, in the order of videos and times."""

from __future__ import annotations

import json
import sqlite3

from tavix.corpus.store import Store

_TABLE = """
CREATE TABLE pictures (
  video TEXT NOT NULL, frame INTEGER NOT NULL, seconds REAL NOT NULL,
  shard TEXT NOT NULL, row INTEGER NOT NULL,
  mean_red REAL, mean_green REAL, mean_blue REAL,
  std_red REAL, std_green REAL, std_blue REAL,
  PRIMARY KEY (video, frame)
) WITHOUT ROWID
"""


def write_index(store: Store) -> int:
    """Makes index.sqlite anew from all shards; returns the number of pictures."""
    rows = []
    for shard in store.shards():
        attributes = json.loads((shard / ".zattrs").read_text())
        name = str(shard.relative_to(store.path))
        for row, sample in enumerate(attributes["samples"]):
            rows.append(
                (attributes["video"], sample["frame"], sample["seconds"], name, row)
                + (*sample["mean"], *sample["std"])
            )
    rows.sort()
    made = store.aside("index.sqlite")
    try:
        database = sqlite3.connect(made)
        with database:
            database.execute(_TABLE)
            database.executemany(f"INSERT INTO pictures VALUES ({','.join('?' * 11)})", rows)
        database.close()
        store.publish(made, "index.sqlite")
    finally:
        made.unlink(missing_ok=True)
    return len(rows)

# SPDX-License-Identifier: Apache-2.0
"""The library's log lines, as records of the logger named tavix."""

from __future__ import annotations

import logging

from tavix._tavix import _set_least_level

_LOGGER = logging.getLogger("tavix")
# A refused call raises: its line needs no place of its own on stderr.
_LOGGER.addHandler(logging.NullHandler())

_LEVELS = (logging.DEBUG, logging.INFO, logging.WARNING, logging.ERROR)


def set_log_level(level: int) -> None:
    """Has the library format lines of this level of logging and above; WARNING at first.

    >>> import logging, tavix
    >>> tavix.set_log_level(logging.WARNING)
    """
    least = sum(level > known for known in _LEVELS)
    _set_least_level(least)


def log(level: int, file: str, line: int, function: str, message: str) -> None:
    """Hands one line on."""
    number = _LEVELS[level] if 0 <= level < len(_LEVELS) else logging.ERROR
    if _LOGGER.isEnabledFor(number):
        record = _LOGGER.makeRecord(
            _LOGGER.name, number, file, line, "%s: %s", (function, message.strip()), None, function
        )
        _LOGGER.handle(record)

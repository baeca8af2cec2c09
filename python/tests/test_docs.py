# SPDX-License-Identifier: Apache-2.0
"""Every public name has a docstring whose example runs, and stubs that say what it really is."""

import doctest
import inspect
import os
import pathlib
import subprocess
import sys

import numpy as np
import pytest

import tavix

ROOT = pathlib.Path(__file__).resolve().parents[2]
PACKAGE = pathlib.Path(tavix.__file__).parent.parent
OPERATIONS = [
    name for name in tavix.__all__ if callable(getattr(tavix, name)) and name[0].islower()
]


def documented():
    for name in [*OPERATIONS, "Frame", "Frame.zeros", "Frame.region", "TavixError"]:
        thing = tavix
        for part in name.split("."):
            thing = getattr(thing, part)
        yield pytest.param(thing, id=name)


@pytest.mark.parametrize("thing", documented())
def test_examples(thing):
    text = inspect.getdoc(thing)
    test = doctest.DocTestParser().get_doctest(text, {}, thing.__name__, None, 0)
    assert test.examples
    np.set_printoptions()
    result = doctest.DocTestRunner(verbose=False).run(test)
    assert result.failed == 0


@pytest.mark.parametrize("thing", documented())
def test_docstrings_say_what_is_raised(thing):
    text = inspect.getdoc(thing)
    assert text.split("\n", 1)[0].strip()
    if thing not in (tavix.TavixError, tavix.set_log_level, tavix.copy):
        assert "Raises " in text or thing.__name__ in ("zeros", "region")
    assert all(len(line) <= 100 for line in text.splitlines())


@pytest.mark.parametrize("name", OPERATIONS)
def test_signatures_are_true(name):
    """What help shows can be called: each parameter is known by that name."""
    function = getattr(tavix, name)
    parameters = inspect.signature(function).parameters
    for parameter in parameters.values():
        with pytest.raises(Exception) as caught:  # noqa: PT011
            function(**{parameter.name: object()})
        assert "unexpected keyword" not in str(caught.value)
        if not isinstance(caught.value, TypeError) or len(parameters) == 1:
            continue
        # pybind11 says so where a name is not its own.
        assert "got an unexpected" not in str(caught.value)
    with pytest.raises(TypeError):
        function(no_such_parameter=1)


def run_tool(*command):
    environment = dict(os.environ, MYPYPATH=str(PACKAGE), PYTHONPATH=str(PACKAGE))
    return subprocess.run(
        [sys.executable, "-m", *command], cwd=ROOT, env=environment, capture_output=True, text=True
    )


def test_stubs_are_what_the_module_is(tmp_path):
    # A type checker need not know pybind11's metaclass.
    allowed = tmp_path / "allowed"
    allowed.write_text("tavix\\._tavix\\.Frame\n")
    done = run_tool(
        "mypy.stubtest", "tavix._tavix", "--mypy-config-file", "pyproject.toml",
        "--allowlist", str(allowed), "--ignore-unused-allowlist",
    )  # fmt: skip
    assert done.returncode == 0, done.stdout + done.stderr


def test_types(tmp_path):
    done = run_tool(
        "mypy", "--strict", "--cache-dir", str(tmp_path), "--config-file", "pyproject.toml",
        "python/tavix", "python/examples",
    )  # fmt: skip
    assert done.returncode == 0, done.stdout + done.stderr


def test_guide():
    failed, run = doctest.testfile(str(ROOT / "docs/guides/python.md"), module_relative=False)
    assert run > 5 and failed == 0


def test_the_clock_of_the_simulation():
    from tavix.corpus.simulate import Site, simulate, with_fewer_tasks

    fast = Site(dispatch=0, store=1e18)
    one, many = simulate(fast, 1, 200), simulate(fast, 10, 200)
    assert 0.98 < one.seconds / (200 * fast.segment_seconds) < 1.02
    assert one.efficiency == pytest.approx(1) and many.efficiency > 0.9
    assert one.seconds / many.seconds == pytest.approx(10, rel=0.1)
    slow_store = Site(store=1e6)
    made = simulate(slow_store, 50, 100)
    assert made.bytes_per_second == pytest.approx(1e6, rel=0.05)
    slow_scheduler = simulate(Site(dispatch=1, store=1e18), 1000, 500)
    assert slow_scheduler.tasks_per_second == pytest.approx(1, rel=0.05)
    assert 16000 / with_fewer_tasks(Site(), 16000).segment_seconds < 1000

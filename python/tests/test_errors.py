# SPDX-License-Identifier: Apache-2.0
"""What a refused call says, where log lines go, and that nothing ends the interpreter."""

import logging
import pickle
import subprocess
import sys
import threading

import numpy as np
import pytest
from pictures import random_picture

import tavix


def test_an_error_names_everything():
    a, b = random_picture(4, 6), random_picture(4, 5)
    with pytest.raises(tavix.TavixError) as caught:
        tavix.add(a, b)
    error = caught.value
    assert error.function == "TavixFrameBinaryArithmeticByCPU"
    assert error.status == tavix.Status.INVALID_PARAM
    assert error.status_name == "TAVIX_ERROR_INVALID_PARAM"
    assert "must have the same" in error.message or "width" in error.message
    assert error.shapes == ("uint8 (4, 6, 3)", "uint8 (4, 5, 3)", "uint8 (4, 6, 3)")
    for part in (error.function, error.status_name, error.message, *error.shapes):
        assert part in str(error)
    again = pickle.loads(pickle.dumps(error))
    assert str(again) == str(error) and again.shapes == error.shapes


def test_an_exception_of_opencv_is_an_error_too():
    with pytest.raises(tavix.TavixError) as caught:
        tavix.resize(np.zeros((0, 4, 3), np.uint8), (2, 2))
    assert caught.value.status is None and caught.value.status_name == "exception"
    assert "OpenCV" in caught.value.message


def test_an_error_message_belongs_to_its_own_call():
    with pytest.raises(tavix.TavixError, match="Split ALPHA"):
        tavix.split(random_picture(4, 6), "a")
    with pytest.raises(tavix.TavixError) as caught:
        tavix.resize(np.zeros((0, 4, 3), np.uint8), (2, 2))
    assert "Split" not in str(caught.value)


def test_lines_go_to_logging(caplog):
    with caplog.at_level(logging.WARNING, "tavix"):
        tavix.convert(random_picture(3, 5), "nv12")
        with pytest.raises(tavix.TavixError):
            tavix.split(random_picture(4, 6), "a")
    warning, error = caplog.records
    assert warning.levelno == logging.WARNING and "Odd dimensions" in warning.getMessage()
    assert error.levelno == logging.ERROR and error.funcName == "TavixFrameChannelSplitByCPU"
    assert error.name == "tavix" and error.lineno > 0


def test_the_level_reaches_the_library(caplog):
    blob = np.zeros((1, 3, 2, 2), np.float32)
    with caplog.at_level(logging.DEBUG, "tavix"):
        tavix.to_blob(random_picture(4, 6), out=blob)
        assert not caplog.records
        tavix.set_log_level(logging.DEBUG)
        try:
            tavix.to_blob(random_picture(4, 6), out=blob)
        finally:
            tavix.set_log_level(logging.WARNING)
    assert [record.levelno for record in caplog.records] == [logging.DEBUG]


def test_nothing_is_printed():
    code = """
import numpy as np, tavix
for call in (lambda: tavix.split(np.zeros((2, 2, 3), np.uint8), "a"),
             lambda: tavix.resize(np.zeros((0, 2, 3), np.uint8), (1, 1))):
    try:
        call()
    except tavix.TavixError:
        pass
"""
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=60)
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")


def test_a_handler_may_raise_call_and_log():
    """Lines are handed on with no lock held, so a handler may do anything."""
    src = random_picture(3, 5)

    class Handler(logging.Handler):
        count = 0

        def emit(self, record):
            Handler.count += 1
            if Handler.count < 5:
                tavix.convert(src, "nv12")  # which logs again

    handler = Handler()
    logger = logging.getLogger("tavix")
    logger.addHandler(handler)
    try:
        tavix.convert(src, "nv12")
    finally:
        logger.removeHandler(handler)
    assert Handler.count == 5


def test_threads_that_log_and_fail_at_once():
    src, failures = random_picture(3, 5), []

    def run(letter):
        try:
            for _ in range(300):
                tavix.convert(src, "nv12")
                with pytest.raises(tavix.TavixError) as caught:
                    if letter == "a":
                        tavix.split(src, "a")
                    else:
                        tavix.softmax(np.zeros((2, 2), np.float32), 7)
                assert ("ALPHA" in str(caught.value)) == (letter == "a")
        except BaseException as failure:
            failures.append(failure)

    threads = [threading.Thread(target=run, args=(letter,)) for letter in "abab"]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(60)
    assert not failures and not any(thread.is_alive() for thread in threads)


DAEMONS = """
import threading, time
import numpy as np, tavix
def run():
    src = np.zeros((200, 300, 3), np.uint8)
    while True:
        tavix.blur(src, 9)
        try:
            tavix.split(src, "a")
        except tavix.TavixError:
            pass
for _ in range(4):
    threading.Thread(target=run, daemon=True).start()
time.sleep(0.2)
"""


@pytest.mark.parametrize("run", range(4))
def test_daemon_threads_do_not_abort_the_end(run):
    done = subprocess.run(
        [sys.executable, "-c", DAEMONS], capture_output=True, text=True, timeout=60
    )
    assert (done.returncode, done.stderr) == (0, "")


def test_the_end_of_the_interpreter_with_views_alive():
    code = """
import numpy as np, tavix
keep = tavix.Frame.zeros("nv12", 640, 480)
views = keep.planes, memoryview(tavix.Frame.zeros("rgb24", 9, 9)), tavix.split(np.zeros((9, 9, 3), np.uint8))
"""
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=60)
    assert (done.returncode, done.stderr) == (0, "")


def test_memory_that_is_not_there():
    code = """
import resource, numpy as np, tavix
src = np.zeros((2000, 2000, 3), np.uint8)
resource.setrlimit(resource.RLIMIT_AS, (resource.getpagesize() * 2**17, resource.RLIM_INFINITY))
held = []
for call in (lambda: tavix.normalize(src), lambda: tavix.resize(src, scale=3),
             lambda: tavix.Frame.zeros("rgbf32", 20000, 20000), lambda: tavix.to_blob(src)):
    try:
        for _ in range(100):
            held.append(call())
    except (tavix.TavixError, MemoryError) as error:
        print(type(error).__name__)
    held.clear()
"""
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=60)
    assert done.returncode == 0 and len(done.stdout.split()) == 4, (done.stdout, done.stderr)

# SPDX-License-Identifier: Apache-2.0
"""Every request for memory, a thread or a mapping fails once, and every one from some point on, in calls
of the Python package: the first call of a process and a later one. Each case runs in a fork of its own.
It must end with the right result, or with MemoryError or TavixError; the next call must be right.

    LD_PRELOAD=libfailing_resources_preload.so failing_resources_of_python.py [fault]

With a fault, one is planted in place of the calls: status 0 says that it is found.
"""

import ctypes
import os
import signal
import sys

import numpy as np
import tavix

SECONDS = 20
NONE, ONCE, FROM_THEN_ON = range(3)
injector = ctypes.CDLL(None)
injector.fail_request_from.argtypes = (ctypes.c_int64, ctypes.c_int)
injector.stop_and_count.restype = ctypes.c_int64

u8 = np.arange(19 * 37 * 3, dtype=np.uint8).reshape(19, 37, 3)
f32 = np.linspace(0, 5, 19 * 37 * 3, dtype=np.float32).reshape(19, 37, 3)
mask = np.ascontiguousarray(u8[..., 0])
blob = np.linspace(-4, 4, 3 * 19 * 37, dtype=np.float32).reshape(1, 3, 19, 37)
frame = tavix.Frame(u8, "bgr24", color_space="bt709")
out = np.zeros_like(u8)


class Exporter:
    __array_interface__ = u8.__array_interface__


def refused():
    try:
        tavix.split(u8, "a")
    except tavix.TavixError as error:
        assert error.status is not None
    return ()


def thrown():
    try:
        tavix.copy_region(u8, out, (9, 9, 99, 99), (0, 0, 1, 1))
    except tavix.TavixError:
        pass
    return ()


CALLS = {
    "add": lambda: tavix.add(u8, u8, alpha=(1, 2, 3)),
    "add into out": lambda: tavix.add(u8, u8, out=out),
    "exp": lambda: tavix.exp(f32),
    "std": lambda: tavix.std(u8),
    "softmax": lambda: tavix.softmax(blob, 1),
    "convert": lambda: tavix.convert(u8, "nv12").planes,
    "convert a frame": lambda: tavix.convert(frame, "rgbf32").array,
    "to_blob": lambda: tavix.to_blob([u8, u8]),
    "from_blob": lambda: tavix.from_blob(blob),
    "normalize": lambda: tavix.normalize(u8, (1, 2, 3)),
    "resize": lambda: tavix.resize(u8, (9, 8)),
    "resize by scale": lambda: tavix.resize(frame, scale=0.5).array,
    "warp_affine": lambda: tavix.warp_affine(u8, [[1, 0, 1], [0, 1, 0]]),
    "copy_make_border": lambda: tavix.copy_make_border(u8, 1, 2, 3, 4),
    "filter2d": lambda: tavix.filter2d(f32, np.ones((3, 3), np.float32)),
    "dilate": lambda: tavix.dilate(u8, np.ones((3, 3), np.uint8)),
    "threshold": lambda: tavix.threshold(u8, 3),
    "split": lambda: tavix.split(u8, "bgr"),
    "add_mask": lambda: tavix.add_mask(u8, mask),
    "product": lambda: tavix.product(u8, u8),
    "fill": lambda: tavix.fill(out, 7),
    "zeros": lambda: tavix.Frame.zeros("i420", 9, 7).planes,
    "region": lambda: frame.region(1, 2, 3, 4).array,
    "dlpack": lambda: tavix.from_dlpack(u8),
    "interface": lambda: tavix.mean(Exporter()),
    "refused": refused,
    "refused by an exception": thrown,
}
FAULTS = {
    "exception": lambda: exec("try: bytearray(1 << 20)\nexcept MemoryError: raise KeyError(1) from None"),
    "crash": lambda: exec("try: bytearray(1 << 20)\nexcept MemoryError: ctypes.string_at(0)"),
    "result": lambda: exec("try: bytearray(1 << 20)\nexcept MemoryError: out[0, 0, 0] = 77") or out.copy(),
}


def bytes_of(result):
    arrays = result if isinstance(result, tuple) else (result,)
    return b"".join(np.ascontiguousarray(a).tobytes() for a in arrays)


def requests_of(call, nth, how):
    """Calls it while requests fail. Returns how many there were, the result, and what was raised."""
    result = error = None
    injector.fail_request_from(nth, how)
    try:
        result = call()
    except BaseException as left:
        error = left
    while True:
        try:
            return injector.stop_and_count(), result, error
        except MemoryError:
            pass


def complaint(call, nth, how, warm):
    out.fill(0)
    right = bytes_of(call()) if warm else None
    out.fill(0)
    count, result, error = requests_of(call, nth, how)
    if error is not None and not isinstance(error, (MemoryError, tavix.TavixError)):
        return count, f"{type(error).__name__} left: {error}"
    made = None if error is not None else bytes_of(result)
    if how == NONE and error is not None:
        return count, f"failed without a failure: {error}"
    out.fill(0)
    next_one = bytes_of(call())
    if (warm and next_one != right) or (made is not None and made != next_one):
        return count, "another result"
    return count, ""


def in_child(*case):
    """Runs the case in a fork: how many requests there were, and what was wrong."""
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        signal.alarm(SECONDS)
        try:
            count, wrong = complaint(*case)
        except BaseException as error:
            count, wrong = 0, f"the next call failed: {type(error).__name__} {error}"
        os.write(writer, f"{count} {wrong}".encode("ascii", "replace")[:1000])
        os._exit(0)
    os.close(writer)
    said = os.read(reader, 2000).decode()
    os.close(reader)
    status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
    if status == -signal.SIGALRM:
        return 0, "hangs"
    if status != 0:
        return 0, f"the interpreter ended with {status}"
    count, wrong = said.split(" ", 1)
    return int(count), wrong


def failures_of(calls):
    failures, cases = [], 0
    for name, call in calls.items():
        for warm in (False, True):
            count, wrong = in_child(call, 0, NONE, warm)
            if wrong:
                failures.append(f"{name}: {wrong}")
            for how in (ONCE, FROM_THEN_ON):
                for nth in range(1, count + 1):
                    _, wrong = in_child(call, nth, how, warm)
                    cases += 1
                    if wrong:
                        later = "" if how == ONCE else " and all later ones"
                        failures.append(f"{name}: request {nth} of {count}{later}, {'later' if warm else 'first'} call: {wrong}")
    return failures, cases


def main():
    if len(sys.argv) > 1:
        found = [bool(failures_of({fault: call})[0]) for fault, call in FAULTS.items()]
        print(dict(zip(FAULTS, found)))
        return 0 if all(found) else 1
    failures, cases = failures_of(CALLS)
    print("\n".join(failures))
    print(f"{cases} cases of {len(CALLS)} calls, {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

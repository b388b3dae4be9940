"""The root's lock: its file protocol, and the lock as another process running the script sees it."""

import os
import subprocess
import sys

import pytest

from conftest import HERE, SCRIPT


@pytest.mark.parametrize("holder, taken", [
    ("", True),
    ("999999999", True),  # no such process: a stale file
    ("me", True),
    ("parent", False),
])
def test_lock_file_taken_unless_another_process_lives(script, tmp_path, holder, taken):
    from yum import Errors
    from yumio import lock
    pids = {"me": str(os.getpid()), "parent": str(os.getppid())}
    target = tmp_path / "run/rpmdb_lock.pid"
    target.parent.mkdir()
    target.write_text(pids.get(holder, holder))
    held = lock._RootLock()
    if not taken:
        with pytest.raises(Errors.LockError) as err:
            held.acquire(str(target))
        assert pids["parent"] in str(err.value) and held.target is None
        held.release()
        assert target.read_text() == pids["parent"]
        return
    held.acquire(str(target))
    assert target.read_text() == pids["me"]
    held.release()
    assert not target.exists()


LOCKER = r"""
import runpy, sys
sys.path.insert(0, %(tests)r)
import fakeyumioc
sys.modules["yumIOC"] = fakeyumioc.make_module(fakeyumioc.Recorder())
ns = runpy.run_path(%(script)r, run_name="__main__")
sys.stdout = sys.__stdout__
try:
    io = ns["YumIO"]()
    io.lock()
    print("locked")
    io.unlock()
except ns["Errors"].LockError as e:
    print("LockError", e)
"""


def other_process_lock(root):
    res = subprocess.run([sys.executable, "-c", LOCKER % {"tests": HERE, "script": SCRIPT}],
                         env=dict(os.environ, ORVOROOT=root), stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT, universal_newlines=True)
    return res.stdout.strip()


def test_lock_held_only_while_working(new_session, recorder):
    s = new_session()
    s.io.lock()
    try:
        assert other_process_lock(s.root).startswith("LockError")
        s.collect()
        # idle between operations: a terminal's dnf is not kept waiting
        assert other_process_lock(s.root) == "locked"
        seen = []
        recorder.onconfirm = lambda: seen.append(other_process_lock(s.root))
        recorder.confirm = False
        s.io.apply([s.available["melon-1.0-1.x86_64"]], [], [])
        s.io.flush()
        assert seen and seen[0].startswith("LockError")
        assert other_process_lock(s.root) == "locked"
    finally:
        recorder.onconfirm = None
        s.io.unlock()
    assert other_process_lock(s.root) == "locked"

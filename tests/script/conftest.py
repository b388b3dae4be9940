"""Fixtures: the sandbox, copies of its root, and the script loaded as the engine loads it."""

import os
import shutil
import subprocess
import sys
import types

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, HERE)
os.environ.setdefault("ORVOSHARE", os.path.join(SOURCE, "share"))

import fakeyumioc  # noqa: E402

DBPATH = "/var/lib/rpm"


def share_dir():
    return os.environ.get("ORVOSHARE") or os.path.join(SOURCE, "share")


@pytest.fixture(scope="session")
def sandbox():
    """The sandbox directory; built here when the test is run by hand."""
    out = os.environ.get("ORVO_SANDBOX") or os.path.join(SOURCE, ".sandbox")
    subprocess.run(["/usr/bin/python3", os.path.join(SOURCE, "tools/sandbox/build-sandbox"), out],
                   check=True, stdout=subprocess.DEVNULL)
    return out


@pytest.fixture(scope="session")
def recorder():
    return fakeyumioc.Recorder()


@pytest.fixture(scope="session")
def script(recorder):
    """The script's namespace, run the way the engine runs it.

    The engine executes the file into __main__ without __file__ and without
    putting the share directory on sys.path, with yumIOC already registered.
    """
    sys.modules["yumIOC"] = fakeyumioc.make_module(recorder)
    path = os.path.join(share_dir(), "python/YumIO.py")
    main = types.ModuleType("__main__")
    out, err = sys.stdout, sys.stderr
    try:
        with open(path) as fh:
            exec(compile(fh.read(), "YumIO.py", "exec"), main.__dict__)
        main.__dict__["_redirected"] = (sys.stdout, sys.stderr)
    finally:
        # what the engine does when it ends
        sys.stdout, sys.stderr = out, err
    return main.__dict__


def copy_root(sandbox, dest):
    root = os.path.join(str(dest), "root")
    subprocess.run(["cp", "-a", os.path.join(sandbox, "root"), root], check=True)
    return root


def rpmq(root, *args):
    res = subprocess.run(["rpm", "--root", root, "--dbpath", DBPATH, "-q"] + list(args),
                         stdout=subprocess.PIPE, universal_newlines=True)
    return res.stdout.split()


def installed(root):
    return sorted(rpmq(root, "-a"))


class Session(object):
    """A script object on its own copy of the sandbox root."""

    def __init__(self, script, recorder, root):
        self.ns = script
        self.rec = recorder
        self.root = root
        os.environ["ORVOROOT"] = root
        recorder.reset()
        recorder.confirm = True
        self.io = script["YumIO"]()

    def collect(self):
        io = self.io
        io.setupRepos()
        io.setupTs()
        self.updates = {str(p): p for p in io.collectUpdates()}
        every = io.collectAll()
        self.installed = {str(p): p for p in every.installed}
        self.available = {str(p): p for p in every.available}
        io.setupTsGroup()
        self.groups = {g.name: g for g in io.collectGroupInfo()}
        io.collectDone()
        return self


@pytest.fixture
def fresh(script, recorder, sandbox, tmp_path):
    """A collected script object on a private copy of the root."""
    s = Session(script, recorder, copy_root(sandbox, tmp_path)).collect()
    recorder.reset()
    yield s
    s.io.flush()
    s.io.unlock()


@pytest.fixture(scope="module")
def shared(script, recorder, sandbox, tmp_path_factory):
    """A collected script object for tests that change nothing."""
    s = Session(script, recorder, copy_root(sandbox, tmp_path_factory.mktemp("shared"))).collect()
    s.setupCalls = list(recorder.calls)
    yield s
    s.io.flush()

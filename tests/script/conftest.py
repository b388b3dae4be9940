"""Fixtures: the sandbox, copies of its root, and the script loaded as the engine loads it."""

import os
import subprocess
import sys
import types

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, HERE)
os.environ.setdefault("ORVOSHARE", os.path.join(SOURCE, "share"))
SCRIPT = os.path.join(os.environ["ORVOSHARE"], "python/YumIO.py")

import fakeyumioc  # noqa: E402


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
    """The script's namespace, run as the engine runs it: into __main__ without __file__,
    the share directory not on sys.path, yumIOC already registered."""
    sys.modules["yumIOC"] = fakeyumioc.make_module(recorder)
    main = types.ModuleType("__main__")
    out, err = sys.stdout, sys.stderr
    try:
        with open(SCRIPT) as fh:
            exec(compile(fh.read(), "YumIO.py", "exec"), main.__dict__)
        main.__dict__["_redirected"] = (sys.stdout, sys.stderr)
    finally:
        sys.stdout, sys.stderr = out, err  # as the engine does when it ends
    return main.__dict__


@pytest.fixture
def Errors(script):
    return script["Errors"]


def copy_root(sandbox, dest):
    """A copy of the sandbox root without any metadata cache, whoever used the root before."""
    root = os.path.join(str(dest), "root")
    subprocess.run(["cp", "-a", os.path.join(sandbox, "root"), root], check=True)
    subprocess.run(["rm", "-rf", os.path.join(root, "var/cache")], check=True)
    return root


def installed(root):
    """The installed packages as the rpm database lists them."""
    res = subprocess.run(["rpm", "--root", root, "--dbpath", "/var/lib/rpm", "-qa"],
                         stdout=subprocess.PIPE, universal_newlines=True)
    return sorted(res.stdout.split())


def ordered(names):
    """The calls, with repeated tsEvent calls and everything logged folded away."""
    out = []
    for n in names:
        if n not in ("log", "errorlog", "stdoutWrite", "stderrWrite") and not (n == "tsEvent" and out[-1:] == [n]):
            out.append(n)
    return out


def add_repo(root, repoid, baseurl, extra=""):
    with open(os.path.join(root, "etc/yum.repos.d/%s.repo" % repoid), "w") as fh:
        fh.write("[%s]\nname=%s\nbaseurl=%s\nenabled=1\ngpgcheck=0\n%s" % (repoid, repoid, baseurl, extra))


class Session(object):
    """A script object on its own copy of the sandbox root."""

    def __init__(self, script, recorder, root):
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
def new_session(script, recorder, sandbox, tmp_path):
    """Makes a session on a private copy of the root; flushed at the end."""
    made = []

    def make(root=None):
        made.append(Session(script, recorder, root or copy_root(sandbox, tmp_path)))
        return made[-1]
    yield make
    for s in made:
        s.io.flush()


@pytest.fixture
def fresh(new_session, recorder):
    """A collected script object on a private copy of the root."""
    s = new_session().collect()
    recorder.reset()
    yield s
    s.io.unlock()


@pytest.fixture(scope="module")
def shared(script, recorder, sandbox, tmp_path_factory):
    """A collected script object for tests that change nothing."""
    s = Session(script, recorder, copy_root(sandbox, tmp_path_factory.mktemp("shared"))).collect()
    s.setupCalls = list(recorder.calls)
    yield s
    s.io.flush()

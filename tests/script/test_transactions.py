"""Real transactions and the session lock, each on a private copy of the sandbox root."""

import glob
import os
import shutil
import subprocess
import sys

import pytest

from conftest import HERE, SCRIPT, copy_root, installed

RUN_ORDER = ["listTransaction", "reportDownloadSize", "userconfirm", "gpgsigcheck",
             "tsInitCallback", "tsInitCallback", "tsEvent", "postTransactionOutput"]


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


def test_install_callbacks_in_order(fresh):
    fresh.io.apply([fresh.available["melon-1.0-1.x86_64"]], [], [])
    rec = fresh.rec
    assert ordered(rec.names()) == ["dsTsCheck", "dsRestartLoop", "dsTsCheck"] + RUN_ORDER
    assert rec.tsinfo() == ["Marking melon-libs-1.0-1.x86_64 as install"]
    for pkg, code, done, total, index, count in rec.of("tsEvent"):
        assert code == 20 and 0 <= done <= total and 1 <= index <= count == 2


def test_group_members_then_group_installed(fresh, new_session):
    pantry = fresh.groups["Pantry"]
    fresh.io.apply([p for p in fresh.available.values() if p.name in pantry.requiredPkgs("Pantry")], [], [])
    fresh.io.flush()
    again = new_session(fresh.root).collect()
    assert again.groups["Pantry"].installed and "fig-1.0-1.noarch" in again.installed


def test_conflict_raises_and_changes_nothing(fresh, Errors):
    before = installed(fresh.root)
    with pytest.raises(Errors.YumBaseError) as err:
        fresh.io.apply([fresh.available["lemon-1.0-1.noarch"]], [], [])
    assert "lime" in str(err.value) and "userconfirm" not in fresh.rec.names()
    fresh.io.applyFailCleanup()
    assert installed(fresh.root) == before


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


SERVER = r"""
import functools, http.server, shutil, sys, time
class Slow(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *args):
        pass
    def copyfile(self, source, outputfile):
        if not self.path.endswith(".rpm"):
            return shutil.copyfileobj(source, outputfile)
        # packages trickle in, so that the downloads run side by side
        for chunk in iter(lambda: source.read(512), b""):
            outputfile.write(chunk)
            outputfile.flush()
            time.sleep(0.01)
server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Slow, directory=sys.argv[1]))
print(server.server_address[1], flush=True)
server.serve_forever()
"""


@pytest.fixture
def http_repos(sandbox):
    """The sandbox repositories served slowly over HTTP from another process (dnf holds the
    interpreter lock while it downloads)."""
    proc = subprocess.Popen([sys.executable, "-c", SERVER, os.path.join(sandbox, "repos")],
                            stdout=subprocess.PIPE, universal_newlines=True)
    try:
        yield "http://127.0.0.1:%d" % int(proc.stdout.readline())
    finally:
        proc.kill()
        proc.wait()


def rows_of_updates(calls):
    """Places the meter calls as the engine does (a batch meter keeps the row it got when new,
    otherwise the one item row).  Gives (file the update belongs to, file its row shows)."""
    rows, rowOfMeter, fileOfMeter, landed = {}, {}, {}, []
    parallel = False
    for name, args in calls:
        meter = id(args[0]) if args else None
        row = rowOfMeter.get(meter, 0) if parallel else "item"
        if name == "applyGrabMultiMeterStart":
            parallel, rowOfMeter = True, {}
        elif name == "applyGrabMultiMeterEnd":
            parallel = False
        elif name == "applyGrabMultiMeterNew":
            rowOfMeter[meter] = len(rowOfMeter)
        elif name == "applyGrabMeterStart":
            fileOfMeter[meter] = rows[row] = os.path.basename(args[1])
        elif name == "applyGrabMeterUpdate":
            landed.append((fileOfMeter.get(meter), rows.get(row)))
    return landed


def test_downloads_report_meters(new_session, recorder, sandbox, tmp_path, http_repos):
    root = copy_root(sandbox, tmp_path)
    add_repo(root, "orvo-http", http_repos + "/updates", "proxy=_none_\n")
    s = new_session(root)
    s.io.disableRepo("orvo-updates")
    s.collect()
    u, i = s.updates, s.installed
    recorder.reset()
    s.io.apply([], [[u["pear-1.1-1.x86_64"], i["pear-1.0-1.x86_64"]], [u["quince-1.1-1.noarch"], i["quince-1.0-1.x86_64"]],
                    [u["apricot-1.1-1.i686"], i["apricot-1.0-1.i686"]]], [])
    names = ordered(recorder.names())
    assert names.index("userconfirm") < names.index("applyGrabMultiMeterStart") < names.index("applyGrabMultiMeterEnd")
    files = ["apricot-1.1-1.i686.rpm", "pear-1.1-1.x86_64.rpm", "pear-data-1.1-1.noarch.rpm", "quince-1.1-1.noarch.rpm"]
    starts = recorder.of("applyGrabMeterStart")
    assert sorted(os.path.basename(a[1]) for a in starts) == files
    assert {(id(m), n) for m, n in recorder.of("applyGrabMeterEnd")} == {(id(a[0]), a[4]) for a in starts}
    # every update reaches the row of its own file
    landed = rows_of_updates(recorder.calls)
    assert landed and all(own == shown for own, shown in landed), landed
    assert "pear-1.1-1.x86_64" in installed(s.root)


def test_failed_extra_data_keeps_the_session(new_session, sandbox, tmp_path, Errors):
    root = copy_root(sandbox, tmp_path)
    repo = shutil.copytree(os.path.join(sandbox, "repos/updates"), str(tmp_path / "moving"))
    add_repo(root, "orvo-moving", "file://" + repo)
    s = new_session(root)
    s.io.disableRepo("orvo-updates")
    s.collect()
    updates = sorted(s.updates)
    # the repository loses its change logs after the collection
    for f in glob.glob(os.path.join(repo, "repodata/*other*")):
        os.unlink(f)
    with pytest.raises(Errors.NoMoreMirrorsRepoError):
        s.io.collectOtherData()
    assert sorted(str(p) for p in s.io.collectUpdates()) == updates


def test_malformed_main_file_ends_construction(new_session, recorder, sandbox, tmp_path):
    root = copy_root(sandbox, tmp_path)
    with open(os.path.join(root, "etc/yum.conf"), "w") as fh:
        fh.write("[main\ncachedir=/x\n")
    with pytest.raises(SystemExit):
        new_session(root)
    assert recorder.of("errorlog")


def test_root_without_database_gets_none(script, recorder, tmp_path):
    """A root with a main file and nothing installed: collecting creates no rpm database,
    neither where rpm would put it by default nor anywhere else."""
    from conftest import Session
    root = tmp_path / "root"
    (root / "etc").mkdir(parents=True)
    (root / "etc/yum.conf").write_text("[main]\n")
    s = Session(script, recorder, str(root))
    s.io.setupRepos()
    assert s.io.collectAll().installed == [] and not s.io.installedChanged()
    s.io.collectDone()
    s.io.flush()
    made = [os.path.relpath(os.path.join(d, f), str(root)) for d, _dirs, files in os.walk(str(root)) for f in files]
    assert not [f for f in made if "rpmdb" in f or f.startswith("root/")], made

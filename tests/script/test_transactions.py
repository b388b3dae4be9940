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


def copy_updates(sandbox, tmp_path, name):
    """A copy of the updates repository that a test may damage."""
    repo = str(tmp_path / name)
    shutil.copytree(os.path.join(sandbox, "repos/updates"), repo)
    return repo


def events(rec):
    """(package name, code) of every tsEvent, each transaction-set step once."""
    seen = []
    for pkg, code, done, total, index, count in rec.of("tsEvent"):
        name = pkg if isinstance(pkg, str) else pkg.name
        if (name, code) not in seen:
            seen.append((name, code))
    return seen


def test_install_callbacks_in_order(fresh):
    # what is installed and how it is listed is checked through the engine in tst_transactions
    fresh.io.apply([fresh.available["melon-1.0-1.x86_64"]], [], [])
    rec = fresh.rec
    assert ordered(rec.names()) == ["dsTsCheck", "dsRestartLoop", "dsTsCheck"] + RUN_ORDER
    assert rec.tsinfo() == ["Marking melon-libs-1.0-1.x86_64 as install"]
    assert rec.of("tsInitCallback") == [(0,), (1,)]
    assert events(rec) == [("melon-libs", 20), ("melon", 20)]
    assert fresh.io.tsInfo is rec.of("listTransaction")[0][0]
    for pkg, code, done, total, index, count in rec.of("tsEvent"):
        assert 0 <= done <= total and 1 <= index <= count == 2


def test_group_members_then_group_installed(fresh, new_session):
    pantry = fresh.groups["Pantry"]
    assert not pantry.installed
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


def test_no_groups_without_their_repository(new_session, Errors):
    s = new_session()
    s.io.disableRepo("orvo-base")
    s.io.setupRepos()
    with pytest.raises(Errors.GroupsError) as err:
        s.io.setupTsGroup()
    assert "No Groups Available" in str(err.value) and s.io.collectGroupInfo() == []


@pytest.mark.parametrize("damage", ["missing", "corrupt"])
def test_broken_repository_gives_repo_error(new_session, sandbox, tmp_path, damage, Errors):
    root, repo = copy_root(sandbox, tmp_path), copy_updates(sandbox, tmp_path, "broken")
    if damage == "missing":
        shutil.rmtree(os.path.join(repo, "repodata"))
    for f in glob.glob(os.path.join(repo, "repodata/*primary.xml.gz")):
        with open(f, "wb") as fh:
            fh.write(b"this is not metadata")
    add_repo(root, "broken", "file://" + repo)
    with pytest.raises(Errors.RepoError):
        new_session(root).io.setupRepos()


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


def test_lock_held_against_other_process(new_session):
    s = new_session().collect()
    s.io.lock()
    try:
        assert other_process_lock(s.root).startswith("LockError")
        s.io.apply([s.available["fig-1.0-1.noarch"]], [], [])
        assert other_process_lock(s.root).startswith("LockError")
        # a later script object of the same session does not need to lock again
        s.io.flush()
        new_session(s.root).collect().io.flush()
        assert other_process_lock(s.root).startswith("LockError")
    finally:
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
    """The sandbox repositories served over HTTP on the loopback interface, from another
    process (dnf holds the interpreter lock while it downloads), packages slowly."""
    proc = subprocess.Popen([sys.executable, "-c", SERVER, os.path.join(sandbox, "repos")],
                            stdout=subprocess.PIPE, universal_newlines=True)
    try:
        yield "http://127.0.0.1:%d" % int(proc.stdout.readline())
    finally:
        proc.kill()
        proc.wait()


def rows_of_updates(calls):
    """Replays the download meter calls as the engine places them: with a multi-file batch
    each meter has the row it was given when new, otherwise every call goes to the one item
    row, labelled by the last start.  Gives (file the update belongs to, file its row shows)."""
    rows, rowOfMeter, fileOfMeter, landed = {}, {}, {}, []
    parallel = False
    for name, args in calls:
        if name == "applyGrabMultiMeterStart":
            parallel, rowOfMeter = True, {}
        elif name == "applyGrabMultiMeterEnd":
            parallel = False
        elif name == "applyGrabMultiMeterNew":
            rowOfMeter[id(args[0])] = len(rowOfMeter)
        elif name == "applyGrabMeterStart":
            fileOfMeter[id(args[0])] = os.path.basename(args[1])
            rows[rowOfMeter.get(id(args[0]), 0) if parallel else "item"] = os.path.basename(args[1])
        elif name == "applyGrabMeterUpdate":
            row = rowOfMeter.get(id(args[0]), 0) if parallel else "item"
            landed.append((fileOfMeter.get(id(args[0])), rows.get(row)))
    return landed


def test_downloads_report_meters(new_session, recorder, sandbox, tmp_path, http_repos):
    root = copy_root(sandbox, tmp_path)
    add_repo(root, "orvo-http", http_repos + "/updates", "proxy=_none_\n")
    s = new_session(root)
    s.io.disableRepo("orvo-updates")
    s.collect()
    assert recorder.of("collectGrabMeterStart")
    u, i = s.updates, s.installed
    assert u["pear-1.1-1.x86_64"].repoid == "orvo-http" and not os.path.exists(u["pear-1.1-1.x86_64"].localPkg())
    recorder.reset()
    s.io.apply([], [[u["pear-1.1-1.x86_64"], i["pear-1.0-1.x86_64"]], [u["quince-1.1-1.noarch"], i["quince-1.0-1.x86_64"]],
                    [u["apricot-1.1-1.i686"], i["apricot-1.0-1.i686"]]], [])
    names = ordered(recorder.names())
    assert names.index("userconfirm") < names.index("applyGrabMultiMeterStart") < names.index("applyGrabMeterStart")
    assert names.index("applyGrabMultiMeterEnd") < names.index("tsInitCallback")
    files = ["apricot-1.1-1.i686.rpm", "pear-1.1-1.x86_64.rpm", "pear-data-1.1-1.noarch.rpm", "quince-1.1-1.noarch.rpm"]
    starts = recorder.of("applyGrabMeterStart")
    assert sorted(os.path.basename(a[1]) for a in starts) == files
    count, total = recorder.of("applyGrabMultiMeterStart")[0]
    assert (count, total) == (4, sum(a[4] for a in starts))
    for meter, fname, url, basename, size, text in starts:
        assert fname.startswith(s.io.conf.cachedir) and url.startswith(http_repos) and size > 0
        assert [a for a in recorder.of("applyGrabMeterEnd") if a[0] is meter] == [(meter, size)]
        assert [a for a in recorder.of("applyGrabMultiMeterNew") if a[0] is meter] == [(meter,)]
    # every update reaches the row of its own file
    landed = rows_of_updates(recorder.calls)
    assert landed and all(own == shown for own, shown in landed), landed
    assert "pear-1.1-1.x86_64" in installed(s.root)


def test_failed_extra_data_keeps_the_session(new_session, sandbox, tmp_path, Errors):
    root, repo = copy_root(sandbox, tmp_path), copy_updates(sandbox, tmp_path, "moving")
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
    s.io.apply([], [[s.updates["pear-1.1-1.x86_64"], s.installed["pear-1.0-1.x86_64"]]], [])
    assert "pear-1.1-1.x86_64" in installed(root)


@pytest.mark.parametrize("setup", ["no root", "malformed main file"])
def test_unusable_configuration_ends_construction(new_session, recorder, sandbox, tmp_path, setup):
    root = str(tmp_path / "absent")
    if setup == "malformed main file":
        root = copy_root(sandbox, tmp_path)
        with open(os.path.join(root, "etc/yum.conf"), "w") as fh:
            fh.write("[main\ncachedir=/x\n")
    with pytest.raises(SystemExit):
        new_session(root)
    assert recorder.of("errorlog")

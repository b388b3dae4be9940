"""Real transactions and the session lock, each on a private copy of the sandbox root."""

import os
import shutil
import subprocess
import sys

import pytest

from conftest import HERE, Session, copy_root, installed, share_dir

RUN_ORDER = ["reportDownloadSize", "listTransaction", "userconfirm", "gpgsigcheck",
             "tsInitCallback", "tsInitCallback", "tsEvent", "postTransactionOutput"]


@pytest.fixture
def Errors(script):
    return script["Errors"]


def ordered(names):
    """The calls, with repeated tsEvent calls and everything logged folded away."""
    out = []
    for n in names:
        if n in ("log", "errorlog", "stdoutWrite", "stderrWrite"):
            continue
        if out and n == "tsEvent" and out[-1] == n:
            continue
        out.append(n)
    return out


def events(rec):
    """(package name, code) of every tsEvent, each transaction-set step once."""
    seen = []
    for pkg, code, done, total, index, count in rec.of("tsEvent"):
        name = pkg if isinstance(pkg, str) else pkg.name
        if (name, code) not in seen:
            seen.append((name, code))
    return seen


def test_install_pulls_dependency(fresh):
    fresh.io.apply([fresh.available["melon-1.0-1.x86_64"]], [], [])
    rec = fresh.rec
    assert ordered(rec.names()) == ["dsTsCheck", "dsRestartLoop", "dsTsCheck"] + RUN_ORDER
    assert rec.tsinfo() == ["Marking melon-libs-1.0-1.x86_64 as install"]
    assert [a for a in rec.of("tsInitCallback")] == [(0,), (1,)]
    assert events(rec) == [("melon-libs", 20), ("melon", 20)]
    installed_, updated, removed, obsoleted, depinst, depupd, deprem, other = fresh.io.makelists()
    assert [str(m) for m in installed_] == ["melon-1.0-1.x86_64"]
    assert [str(m) for m in depinst] == ["melon-libs-1.0-1.x86_64"]
    assert not (updated or removed or obsoleted or depupd or deprem or other)
    assert fresh.io.tsInfo is rec.of("listTransaction")[0][0]
    assert [p.name for p in rec.of("reportDownloadSize")[0][0]] == ["melon", "melon-libs"]
    for pkg, code, done, total, index, count in rec.of("tsEvent"):
        assert 0 <= done <= total and 1 <= index <= count == 2
    assert "melon-libs-1.0-1.x86_64" in installed(fresh.root)


def test_update_with_dependency_arch_change_and_install_only(fresh):
    u, i = fresh.updates, fresh.installed
    fresh.io.apply([], [[u["pear-1.1-1.x86_64"], i["pear-1.0-1.x86_64"]],
                        [u["quince-1.1-1.noarch"], i["quince-1.0-1.x86_64"]],
                        [u["kettle-3.0-1.x86_64"], i["kettle-1.0-1.x86_64"]],
                        [u["kettle-3.0-1.x86_64"], i["kettle-2.0-1.x86_64"]]], [])
    rec = fresh.rec
    assert rec.tsinfo() == ["Marking pear-data-1.1-1.noarch as install"]
    lists = fresh.io.makelists()
    updated = {str(m): m for m in lists[1]}
    assert sorted(updated) == ["kettle-3.0-1.x86_64", "pear-1.1-1.x86_64", "quince-1.1-1.noarch"]
    assert updated["pear-1.1-1.x86_64"].output_state == 10
    assert updated["kettle-3.0-1.x86_64"].output_state == 30
    assert [str(p) for p, rel in updated["quince-1.1-1.noarch"].relatedto] == ["quince-1.0-1.x86_64"]
    ev = events(rec)
    assert ("pear", 10) in ev and ("quince", 10) in ev and ("kettle", 30) in ev
    assert ("pear", 90) in ev and ("quince", 90) in ev
    assert installed(fresh.root) == [
        "cherry-1.0-1.noarch", "kettle-1.0-1.x86_64", "kettle-2.0-1.x86_64", "kettle-3.0-1.x86_64",
        "lime-1.0-1.noarch", "pear-1.1-1.x86_64", "pear-data-1.1-1.noarch", "plum-1.0-1.x86_64",
        "quince-1.1-1.noarch", "tomato-1.0-1.noarch"]


def test_remove_one_of_two_versions(fresh):
    fresh.io.apply([], [], [fresh.installed["kettle-1.0-1.x86_64"], fresh.installed["lime-1.0-1.noarch"]])
    assert [str(m) for m in fresh.io.makelists()[2]] == ["kettle-1.0-1.x86_64", "lime-1.0-1.noarch"]
    assert sorted(events(fresh.rec)) == [("kettle", 40), ("lime", 40)]
    assert "kettle-2.0-1.x86_64" in installed(fresh.root)
    assert "kettle-1.0-1.x86_64" not in installed(fresh.root)
    assert "lime-1.0-1.noarch" not in installed(fresh.root)


def test_obsoleting_install(fresh):
    fresh.io.apply([fresh.available["cherry-ng-2.0-1.noarch"]], [], [])
    obsoleted = fresh.io.makelists()[3]
    assert [str(m) for m in obsoleted] == ["cherry-1.0-1.noarch"]
    assert [(str(p), rel) for p, rel in obsoleted[0].relatedto] == [("cherry-ng-2.0-1.noarch", "obsoletedby")]
    assert obsoleted[0].po is fresh.installed["cherry-1.0-1.noarch"]
    assert (obsoleted[0].epoch, obsoleted[0].ver, obsoleted[0].rel) == ("0", "1.0", "1")
    assert events(fresh.rec) == [("cherry-ng", 60), ("cherry", 50)]
    assert "cherry-1.0-1.noarch" not in installed(fresh.root)


def test_group_members_then_group_installed(fresh, script, recorder):
    pantry = fresh.groups["Pantry"]
    assert not pantry.installed
    wanted = [p for p in fresh.available.values() if p.name in pantry.requiredPkgs("Pantry")]
    fresh.io.apply(wanted, [], [])
    assert "fig-1.0-1.noarch" in installed(fresh.root)
    fresh.io.flush()
    again = Session(script, recorder, fresh.root).collect()
    assert again.groups["Pantry"].installed
    assert "fig-1.0-1.noarch" in again.installed
    again.io.flush()


def test_refused_confirmation_changes_nothing(fresh):
    before = installed(fresh.root)
    fresh.rec.confirm = False
    fresh.io.apply([fresh.available["melon-1.0-1.x86_64"]],
                   [[fresh.updates["pear-1.1-1.x86_64"], fresh.installed["pear-1.0-1.x86_64"]]],
                   [fresh.installed["lime-1.0-1.noarch"]])
    names = fresh.rec.names()
    assert "userconfirm" in names
    assert not {"gpgsigcheck", "tsInitCallback", "tsEvent", "postTransactionOutput"} & set(names)
    assert installed(fresh.root) == before


def test_conflict_is_a_yum_error(fresh, Errors):
    before = installed(fresh.root)
    with pytest.raises(Errors.YumBaseError) as err:
        fresh.io.apply([fresh.available["lemon-1.0-1.noarch"]], [], [])
    assert "lime" in str(err.value)
    assert "userconfirm" not in fresh.rec.names()
    fresh.io.applyFailCleanup()
    assert installed(fresh.root) == before


def test_nothing_marked(fresh):
    fresh.io.apply([], [], [])
    assert "userconfirm" not in fresh.rec.names()


def test_session_repository_choices(script, recorder, sandbox, tmp_path, Errors):
    root = copy_root(sandbox, tmp_path)
    repofile = os.path.join(root, "etc/yum.repos.d/orvo.repo")
    with open(repofile) as fh:
        text = fh.read()
    s = Session(script, recorder, root)
    s.io.disableRepo("orvo-updates")
    s.io.enableRepo("orvo-extras")
    assert s.io.repos.repos["orvo-updates"].enabled == 0
    assert s.io.repos.repos["orvo-extras"].enabled == 1
    s.collect()
    assert s.updates == {}
    assert "walnut-1.0-1.noarch" in s.available
    with pytest.raises(Errors.RepoError):
        s.io.enableRepo("no-such-repo")
    with open(repofile) as fh:
        assert fh.read() == text
    s.io.flush()


@pytest.mark.parametrize("damage", ["missing", "corrupt"])
def test_broken_repository_gives_repo_error(script, recorder, sandbox, tmp_path, damage, Errors):
    root = copy_root(sandbox, tmp_path)
    repo = str(tmp_path / "broken")
    shutil.copytree(os.path.join(sandbox, "repos/updates"), repo)
    if damage == "missing":
        shutil.rmtree(os.path.join(repo, "repodata"))
    else:
        for f in os.listdir(os.path.join(repo, "repodata")):
            if f.endswith("primary.xml.gz"):
                with open(os.path.join(repo, "repodata", f), "wb") as fh:
                    fh.write(b"this is not metadata")
    with open(os.path.join(root, "etc/yum.repos.d/broken.repo"), "w") as fh:
        fh.write("[broken]\nname=Broken\nbaseurl=file://%s\nenabled=1\ngpgcheck=0\n" % repo)
    s = Session(script, recorder, root)
    with pytest.raises(Errors.RepoError):
        s.io.setupRepos()
    s.io.flush()


LOCKER = r"""
import os, runpy, sys
sys.path.insert(0, %(tests)r)
import fakeyumioc
sys.modules["yumIOC"] = fakeyumioc.make_module(fakeyumioc.Recorder())
ns = runpy.run_path(%(script)r, run_name="__main__")
sys.stdout, sys.stderr = sys.__stdout__, sys.__stderr__
io = ns["YumIO"]()
try:
    io.lock()
except ns["Errors"].LockError as e:
    print("LockError", e)
else:
    print("locked")
    io.unlock()
"""


def other_process_lock(root):
    code = LOCKER % {"tests": HERE, "script": os.path.join(share_dir(), "python/YumIO.py")}
    env = dict(os.environ, ORVOROOT=root)
    res = subprocess.run([sys.executable, "-c", code], env=env, stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT, universal_newlines=True)
    return res.stdout.strip()


def test_lock_held_against_other_process(script, recorder, sandbox, tmp_path):
    s = Session(script, recorder, copy_root(sandbox, tmp_path))
    s.io.lock()
    try:
        assert other_process_lock(s.root).startswith("LockError")
        # a later script object of the same session does not need to lock again
        s.io.flush()
        Session(script, recorder, s.root).collect().io.flush()
        assert other_process_lock(s.root).startswith("LockError")
    finally:
        s.io.unlock()
    assert other_process_lock(s.root) == "locked"


def test_lock_survives_transaction(fresh):
    fresh.io.lock()
    fresh.io.apply([fresh.available["fig-1.0-1.noarch"]], [], [])
    assert other_process_lock(fresh.root).startswith("LockError")


SERVER = r"""
import functools, http.server, sys
class Quiet(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *args):
        pass
server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Quiet, directory=sys.argv[1]))
print(server.server_address[1], flush=True)
server.serve_forever()
"""


@pytest.fixture
def http_repos(sandbox):
    """The sandbox repositories served over HTTP on the loopback interface.

    The server runs in its own process: dnf holds the interpreter lock while
    it downloads, so a server thread here would stall every request.
    """
    proc = subprocess.Popen([sys.executable, "-c", SERVER, os.path.join(sandbox, "repos")],
                            stdout=subprocess.PIPE, universal_newlines=True)
    try:
        port = int(proc.stdout.readline())
        yield "http://127.0.0.1:%d" % port
    finally:
        proc.kill()
        proc.wait()


def test_downloads_report_meters(script, recorder, sandbox, tmp_path, http_repos):
    root = copy_root(sandbox, tmp_path)
    with open(os.path.join(root, "etc/yum.repos.d/http.repo"), "w") as fh:
        fh.write("[orvo-http]\nname=Over HTTP\nbaseurl=%s/updates\nenabled=1\ngpgcheck=0\nproxy=_none_\n" % http_repos)
    s = Session(script, recorder, root)
    s.io.disableRepo("orvo-updates")
    s.collect()
    assert recorder.of("collectGrabMeterStart")
    pear = s.updates["pear-1.1-1.x86_64"]
    assert pear.repoid == "orvo-http" and not os.path.exists(pear.localPkg())
    recorder.reset()
    s.io.apply([], [[pear, s.installed["pear-1.0-1.x86_64"]]], [])
    names = ordered(recorder.names())
    first = names.index("applyGrabMeterStart")
    assert names.index("userconfirm") < first < names.index("tsInitCallback")
    starts = recorder.of("applyGrabMeterStart")
    assert sorted(os.path.basename(a[1]) for a in starts) == ["pear-1.1-1.x86_64.rpm", "pear-data-1.1-1.noarch.rpm"]
    for meter, fname, url, basename, size, text in starts:
        assert fname.startswith(s.io.conf.cachedir) and url.startswith(http_repos) and size > 0
        ends = [a for a in recorder.of("applyGrabMeterEnd") if a[0] is meter]
        assert ends == [(meter, size)]
    assert "pear-1.1-1.x86_64" in installed(root)
    s.io.flush()


@pytest.mark.parametrize("setup", ["no root", "malformed main file"])
def test_unusable_configuration_ends_construction(script, recorder, sandbox, tmp_path, setup):
    if setup == "no root":
        root = str(tmp_path / "absent")
    else:
        root = copy_root(sandbox, tmp_path)
        with open(os.path.join(root, "etc/yum.conf"), "w") as fh:
            fh.write("[main\ncachedir=/x\n")
    with pytest.raises(SystemExit):
        Session(script, recorder, root)
    assert recorder.of("errorlog")


def test_no_groups(script, recorder, sandbox, tmp_path, Errors):
    s = Session(script, recorder, copy_root(sandbox, tmp_path))
    s.io.disableRepo("orvo-base")
    s.io.setupRepos()
    with pytest.raises(Errors.GroupsError) as err:
        s.io.setupTsGroup()
    assert "No Groups Available" in str(err.value)
    assert s.io.collectGroupInfo() == []
    s.io.flush()

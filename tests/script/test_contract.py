"""The script's members and objects, read from a collected sandbox.  The catalogue rows, package
details, groups and the duplicate preference are checked through the engine in tst_catalogue."""

import logging
import os
import subprocess
import sys

import pytest


def test_yum_package_and_probes(script, shared):
    assert os.path.join(os.environ["ORVOSHARE"], "python") in sys.path
    import yum
    Errors = yum.Errors
    assert yum.__version__ == "3.4.3"
    assert all(issubclass(c, Errors.YumBaseError) for c in (Errors.RepoError, Errors.LockError, Errors.GroupsError))
    assert issubclass(Errors.NoMoreMirrorsRepoError, Errors.RepoError) and script["usesSqlite"]() is True
    assert shared.io.usesPresto() is not True and shared.io.hasMultiProgress() is not True


def test_output_goes_to_callbacks(script, recorder):
    out, err = script["_redirected"]
    recorder.reset()
    out.write("hello\n")
    err.write("oops\n")
    logging.getLogger("dnf").warning("careful")
    logging.getLogger("dnf").info("plain")
    assert recorder.calls == [("stdoutWrite", ("hello\n",)), ("stderrWrite", ("oops\n",)),
                              ("errorlog", (1, "careful")), ("log", (2, "plain"))]


def test_configuration_inside_root(shared):
    conf, root = shared.io.conf, shared.root
    with open("/etc/os-release") as fh:
        version = [line.split("=", 1)[1].strip().strip('"') for line in fh if line.startswith("VERSION_ID=")][0]
    assert (conf.yumvar["basearch"], conf.yumvar["releasever"]) == ("x86_64", version)
    assert conf.reposdir == [os.path.join(root, "etc/yum.repos.d")]
    assert conf.cachedir == os.path.join(root, "var/cache/yum/x86_64", version)
    assert conf.persistdir.startswith(root) and os.listdir(conf.cachedir)


@pytest.mark.parametrize("files,chosen", [
    (["etc/yum/yum.conf", "etc/yum.conf", "etc/dnf/dnf.conf"], "etc/yum/yum.conf"),
    (["etc/dnf/dnf.conf"], "etc/dnf/dnf.conf"),
])
def test_main_file_order(script, tmp_path, files, chosen):
    for f in files:
        (tmp_path / f).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / f).write_text("[main]\n")
    from yumio import configuration
    assert configuration._mainConfFile(str(tmp_path)) == str(tmp_path / chosen)


@pytest.mark.parametrize("path,inside", [
    ("/etc/../../x/", "x"),
    ("/etc/yum.repos.d/a.repo", "srv/repos/a.repo"),
    ("/etc/up/cache/$basearch", "cache/$basearch"),
])
def test_paths_stay_inside_root(script, tmp_path, path, inside):
    root = tmp_path / "root"
    (root / "etc").mkdir(parents=True)
    (root / "srv/repos").mkdir(parents=True)
    os.symlink("/srv/repos", str(root / "etc/yum.repos.d"))
    os.symlink("../../../..", str(root / "etc/up"))
    from yumio import configuration
    assert configuration.inRoot(str(root), path) == os.path.join(str(root), inside)


def test_repository_reading_callbacks(shared):
    calls = [c for c in shared.setupCalls if c[0].startswith("collect")]
    for rid in ("orvo-base", "orvo-updates"):
        starts = [a for n, a in calls if n == "collectGrabMeterStart" and a[1].split("/")[-2] == rid]
        assert starts and starts[0][3] == "repomd.xml" and starts[0][1].startswith(shared.root)
        assert [a for n, a in calls if n == "collectProgress" and a[2] == rid] == [
            (0, 1, rid), (1, 1, rid), (-1, -1, rid)]


@pytest.mark.parametrize("pkg", ["pear-1.0-1.x86_64", "plum-1.0-1.i686"])
def test_file_lists_are_what_rpm_lists(shared, sandbox, pkg):
    p = shared.installed.get(pkg) or shared.available[pkg]
    query = (["rpm", "--root", shared.root, "--dbpath", "/var/lib/rpm", "-ql", pkg] if pkg in shared.installed
             else ["rpm", "-qlp", os.path.join(sandbox, "repos", p.repoid.split("-")[-1], p.relativepath)])
    listed = subprocess.run(query, stdout=subprocess.PIPE, universal_newlines=True, check=True).stdout.split()
    assert sorted(p.returnFileEntries("file")) == sorted(listed) and len(listed) >= 2


def test_other_data_then_cleaning(new_session):
    s = new_session().collect()
    assert s.io.collectFileLists() is True and s.io.collectOtherData() is True
    cache = s.io.conf.cachedir
    s.io.flush()
    assert any(f.endswith(".solv") for f in os.listdir(cache))
    for name in ("cleanHeaders", "cleanPackages", "cleanMetadata", "cleanPickles", "cleanSqlite"):
        assert getattr(s.io, name)()[0] == 0, name
    left = [f for _, _, files in os.walk(cache) for f in files if ".solv" in f or f == "repomd.xml"]
    assert left == []


@pytest.mark.parametrize("raised,expected", [
    ("dnf.exceptions.RepoError('Failed to download metadata for repo x: All mirrors were tried')", "NoMoreMirrorsRepoError"),
    ("libdnf.error.Error('Curl error (7): Could not connect to server')", "NoMoreMirrorsRepoError"),
    ("dnf.exceptions.RepoError('Cannot find a valid baseurl for repo: x')", "RepoError"),
    ("dnf.exceptions.DownloadError({'pear-1.1-1.x86_64': ['Cannot download Packages/pear.rpm']})", "YumBaseError"),
    ("dnf.exceptions.LockError('locked')", "LockError"),
    ("dnf.exceptions.CompsError('no group')", "GroupsError"),
    ("libdnf.error.Error('Failed to load the system repository')", "YumBaseError"),
    ("Errors.RepoError('already mapped')", "RepoError"),
])
def test_errors_mapped_by_what_happened(script, raised, expected):
    """dnf's failures become the yum class that names what happened."""
    error = eval(raised, script)
    from yumio import errors
    mapped = errors.yumError(error)
    assert type(mapped) is getattr(script["Errors"], expected) and str(mapped) == str(error)


def test_interrupt_in_download_callback_stays_an_interrupt(script, new_session, monkeypatch):
    """An interrupt raised by a callback inside dnf's downloads reaches the engine as one, once."""
    s = new_session()

    def interrupted(*args):
        raise KeyboardInterrupt()
    monkeypatch.setattr(sys.modules["yumIOC"], "collectGrabMeterUpdate", interrupted)
    with pytest.raises(KeyboardInterrupt):
        s.io.setupRepos()
    from yumio import errors
    later = errors.yumError(script["dnf"].exceptions.RepoError("Cannot find a valid baseurl"))
    assert type(later) is script["Errors"].RepoError


"""The catalogue read from the sandbox: file lists, change logs, refreshes and the cache."""

import glob
import os
import shutil
import subprocess

import pytest

from conftest import Session, add_repo, copy_root


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


def test_refresh_reads_changed_metadata(new_session, sandbox, tmp_path, script):
    root = copy_root(sandbox, tmp_path)
    repo = str(tmp_path / "moving")
    shutil.copytree(os.path.join(sandbox, "repos/base"), repo)
    add_repo(root, "orvo-moving", "file://" + repo)
    versions = []
    for expire in (False, False, True):
        s = new_session(root)
        s.io.disableRepo("orvo-updates")
        s.io.disableRepo("orvo-base")
        if expire:
            script["expireMetadata"]()
        s.io.setupRepos()
        versions.append(sorted(str(p) for p in s.io.collectUpdates() if p.name == "pear"))
        s.io.unlock()
        # the repository is replaced by a newer one after the first collection
        shutil.rmtree(repo)
        shutil.copytree(os.path.join(sandbox, "repos/updates"), repo)
    # within the cache's lifetime a start keeps what it read; Refresh reads the new
    assert versions[0] == versions[1] == []
    assert versions[2] and "1.1-1" in versions[2][0]


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


def test_root_without_database_gets_none(script, recorder, tmp_path):
    """A root with a main file and nothing installed: collecting creates no rpm database,
    neither where rpm would put it by default nor anywhere else."""
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

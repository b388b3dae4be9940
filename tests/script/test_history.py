"""History, other versions and package files, on private copies of the sandbox root."""

import os

import pytest

from conftest import installed


def by_id(rows):
    return {r[0]: r for r in rows}


def test_history_lists_the_command_lines_transactions_newest_first(shared):
    rows = shared.io.historyTransactions()
    assert [r[0] for r in rows] == [4, 3, 2, 1]
    t = by_id(rows)
    # (installed, updated, removed) and the command line as dnf recorded it
    assert t[1][3:6] == (2, 0, 0)
    assert t[3][3:6] == (0, 0, 1) and t[4][3:6] == (0, 1, 0)
    assert "install sage olive-0.9" in t[1][2]
    assert shared.io.historyPackages(4) == [("Update", "olive", "2.0-1", "noarch", "orvo-base"),
                                            ("Updated", "olive", "1.0-1", "noarch", "@System")]


# Transactions 2 to 4 are undone through the engine by the transaction and window tests.
@pytest.mark.parametrize("tid", [
    1,  # what it installed is no longer there at that version
    99,
])
def test_undo_of_nothing_left_marks_nothing(shared, tid):
    assert shared.io.historyUndo(tid) == ([], [])


def test_refused_versions_go_with_the_transaction(fresh, recorder):
    """The listing's Downgrade and Reinstall lines are the transaction test's."""
    recorder.confirm = False
    try:
        fresh.io.requestVersions([("downgrade", fresh.installed["olive-2.0-1.noarch"], "1.0-1"),
                                  ("reinstall", fresh.installed["lime-1.0-1.noarch"], "1.0-1")])
        fresh.io.apply([], [], [])
    finally:
        recorder.confirm = True
    fresh.io.flush()
    assert fresh.io._versionRequests == []


def test_package_files_checked_added_and_installed(sandbox, new_session, tmp_path, script):
    from yumio import localfiles
    s = new_session().collect()
    bad = tmp_path / "bad.rpm"
    bad.write_bytes(b"not a package")
    files = os.path.join(sandbox, "files")
    problems = s.io.addPackageFiles([str(bad), os.path.join(files, "nectar-1.0-1.aarch64.rpm"),
                                     os.path.join(files, "nectar-1.0-1.x86_64.rpm")])
    try:
        assert len(problems) == 2
        assert str(bad) in problems[0] and "not a readable RPM" in problems[0]
        assert "nectar-1.0-1.aarch64.rpm" in problems[1] and "aarch64" in problems[1]
        s.io.flush()
        again = new_session(s.root).collect()
        nectar = again.available["nectar-1.0-1.x86_64"]
        assert nectar.repoid == "@commandline"
        again.io.apply([nectar], [], [])
        assert {"nectar-1.0-1.x86_64", "salt-1.0-1.noarch"} <= set(installed(s.root))
        again.io.flush()
        # installed: the file is no longer offered
        third = new_session(s.root).collect()
        assert "nectar-1.0-1.x86_64" not in third.available
    finally:
        localfiles.forget()


def test_package_file_signature_checked_when_configured(sandbox, new_session, script, Errors):
    from yumio import localfiles
    s = new_session()
    with open(os.path.join(s.root, "etc/yum.conf"), "a") as fh:
        fh.write("localpkg_gpgcheck=1\n")
    s = new_session(s.root).collect()
    try:
        assert s.io.addPackageFiles([os.path.join(sandbox, "files/nectar-1.0-1.x86_64.rpm")]) == []
        s.io.flush()
        again = new_session(s.root).collect()
        with pytest.raises(Errors.YumBaseError):
            again.io.apply([again.available["nectar-1.0-1.x86_64"]], [], [])
        again.io.applyFailCleanup()
        assert "nectar-1.0-1.x86_64" not in installed(s.root)
    finally:
        localfiles.forget()

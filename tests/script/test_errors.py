"""Failures of dnf, libdnf and rpm as the yum errors the engine tells apart."""

import sys

import pytest


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

"""The script as the engine loads it: the yum package it brings and the probes the engine asks."""

import os
import sys


def test_yum_package_and_probes(script, shared):
    assert os.path.join(os.environ["ORVOSHARE"], "python") in sys.path
    import yum
    Errors = yum.Errors
    assert yum.__version__ == "3.4.3"
    assert all(issubclass(c, Errors.YumBaseError) for c in (Errors.RepoError, Errors.LockError, Errors.GroupsError))
    assert issubclass(Errors.NoMoreMirrorsRepoError, Errors.RepoError) and script["usesSqlite"]() is True
    assert shared.io.usesPresto() is not True and shared.io.hasMultiProgress() is not True

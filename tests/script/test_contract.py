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


def test_script_calls_only_contract_entries():
    """Every callback the script and its package name is one the engine's module has, as
    the stand-in lists it (the engine's tests hold the stand-in to the module); a renamed
    or misspelt callback would otherwise fail only when that path runs."""
    import ast
    import fakeyumioc
    top = os.path.join(os.environ["ORVOSHARE"], "python")
    called = set()
    for folder, _dirs, files in os.walk(top):
        for name in files:
            if name.endswith(".py"):
                with open(os.path.join(folder, name)) as fh:
                    tree = ast.parse(fh.read())
                called |= {n.attr for n in ast.walk(tree)
                           if isinstance(n, ast.Attribute) and isinstance(n.value, ast.Name) and n.value.id == "yumIOC"}
    assert called and called <= set(fakeyumioc.FORMATS), sorted(called - set(fakeyumioc.FORMATS))

"""The sandbox builder's output."""

import os
import subprocess

from conftest import DBPATH, SOURCE, installed


def test_layout(sandbox):
    for d in ("base", "updates", "extras"):
        assert os.path.exists(os.path.join(sandbox, "repos", d, "repodata/repomd.xml"))
    with open(os.path.join(sandbox, "repos/base/repodata/repomd.xml")) as fh:
        assert 'type="group"' in fh.read()
    root = os.path.join(sandbox, "root")
    assert os.path.exists(os.path.join(root, "etc/yum.conf"))
    with open(os.path.join(root, "etc/yum.repos.d/larder.repo")) as fh:
        assert "/larder?user=&pass=&path=" in fh.read()
    assert os.path.isdir(os.path.join(root, DBPATH.lstrip("/")))


def test_base_set_installed(sandbox):
    assert installed(os.path.join(sandbox, "root")) == [
        "cherry-1.0-1.noarch", "kettle-1.0-1.x86_64", "kettle-2.0-1.x86_64", "lime-1.0-1.noarch",
        "pear-1.0-1.x86_64", "plum-1.0-1.x86_64", "quince-1.0-1.x86_64", "tomato-1.0-1.noarch"]


def test_rebuild_skipped_when_current(sandbox):
    res = subprocess.run(["/usr/bin/python3", os.path.join(SOURCE, "tools/sandbox/build-sandbox"), sandbox],
                         stdout=subprocess.PIPE, universal_newlines=True, check=True)
    assert "current" in res.stdout

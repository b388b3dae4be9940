"""The package manager's own reading of repository text before a file is replaced."""

import pytest

SUBST = {"releasever": "1", "basearch": "x86_64"}


@pytest.mark.parametrize("text, main, refused", [
    (b"[a]\nname=A $basearch\nbaseurl=http://x/a\n\thttp://y/a\n#baseurl=http://z/\n\n[b]\nmirrorlist=https://m/\n",
     False, None),
    (b"[main]\ngpgcheck=0\n\n[a]\nbaseurl=file:///srv/a\n", True, None),
    # a bare line drops every repository of the file
    (b"[a]\nbaseurl=http://x/a\nbogusline\n[b]\nbaseurl=file:///b\n", False, "check.repo"),
    # so does a comment that an indented line continues
    (b"[a]\nbaseurl=http://x/\n#c\n  cont\n", False, "check.repo"),
    (b"[a]\nbaseurl=http://x/\nenabled=maybe\n", False, "enabled=maybe"),
    (b"[main\ngpgcheck=0\n", True, ""),
])
def test_repository_text_checked(script, text, main, refused):
    from yumio import configuration
    message = configuration._checkRepoText(SUBST, text, "/etc/yum.repos.d/check.repo", main)
    if refused is None:
        assert message == ""
    else:
        assert message and refused in message
        assert "orvo-check-" not in message


def test_refresh_reads_changed_metadata(new_session, sandbox, tmp_path, script):
    from test_transactions import add_repo
    from conftest import copy_root
    import os
    import shutil
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

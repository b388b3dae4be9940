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
    message = script["_checkRepoText"](SUBST, text, "/etc/yum.repos.d/check.repo", main)
    if refused is None:
        assert message == ""
    else:
        assert message and refused in message
        assert "orvo-check-" not in message

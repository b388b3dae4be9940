"""The root's configuration as the package manager reads it, paths kept inside the root."""

import os

import pytest

from conftest import copy_root

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
def test_main_file_order(script, tmp_path, monkeypatch, files, chosen):
    monkeypatch.setenv("ORVOROOT", str(tmp_path))
    for f in files:
        (tmp_path / f).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / f).write_text("[main]\n")
    from yumio import configuration
    assert configuration._mainConfFile() == str(tmp_path / chosen)


def test_malformed_main_file_ends_construction(new_session, recorder, sandbox, tmp_path):
    root = copy_root(sandbox, tmp_path)
    with open(os.path.join(root, "etc/yum.conf"), "w") as fh:
        fh.write("[main\ncachedir=/x\n")
    with pytest.raises(SystemExit):
        new_session(root)
    assert recorder.of("errorlog")

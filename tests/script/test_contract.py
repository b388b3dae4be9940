"""The script's members and objects, read from a collected sandbox."""

import logging
import os
import subprocess
import sys

import pytest
import rpm


def test_yum_package_and_probes(script, shared):
    assert os.path.join(os.environ["ORVOSHARE"], "python") in sys.path
    import yum
    from yum import Errors
    assert yum.__version__ == "3.4.3" and yum.Errors is Errors
    for cls in (Errors.RepoError, Errors.LockError, Errors.GroupsError):
        assert issubclass(cls, Errors.YumBaseError)
    assert issubclass(Errors.NoMoreMirrorsRepoError, Errors.RepoError)
    assert str(Errors.RepoError("no metadata")) == "no metadata"
    assert script["usesSqlite"]() is True
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
    assert isinstance(conf, dict) and isinstance(conf.yumvar, dict)
    with open("/etc/os-release") as fh:
        version = [line.split("=", 1)[1].strip().strip('"') for line in fh if line.startswith("VERSION_ID=")][0]
    assert (conf.yumvar["basearch"], conf.yumvar["releasever"]) == ("x86_64", version)
    assert conf.config_file_path == os.path.join(root, "etc/yum.conf")
    assert conf.reposdir == [os.path.join(root, "etc/yum.repos.d")]
    assert conf.cachedir == os.path.join(root, "var/cache/yum/x86_64", version)
    assert conf.persistdir.startswith(root) and os.listdir(conf.cachedir)
    repos = shared.io.repos.repos
    assert type(repos) is dict and all(type(v.enabled) is int for v in repos.values())
    assert {k: v.enabled for k, v in repos.items()} == {
        "orvo-base": 1, "orvo-updates": 1, "orvo-extras": 0, "orvo-larder": 0}


@pytest.mark.parametrize("files,chosen", [
    (["etc/yum/yum.conf", "etc/yum.conf", "etc/dnf/dnf.conf"], "etc/yum/yum.conf"),
    (["etc/yum.conf", "etc/dnf/dnf.conf"], "etc/yum.conf"),
    (["etc/dnf/dnf.conf"], "etc/dnf/dnf.conf"),
    ([], "etc/yum.conf"),
])
def test_main_file_order(script, tmp_path, files, chosen):
    for f in files:
        (tmp_path / f).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / f).write_text("[main]\n")
    assert script["_mainConfFile"](str(tmp_path)) == str(tmp_path / chosen)


@pytest.mark.parametrize("path,inside", [
    ("/etc/yum.conf", "etc/yum.conf"),
    ("/../outside", "outside"),
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
    assert script["_inRoot"](str(root), path) == os.path.join(str(root), inside)


def test_repository_reading_callbacks(shared):
    calls = [c for c in shared.setupCalls if c[0].startswith("collect")]
    for rid in ("orvo-base", "orvo-updates"):
        starts = [a for n, a in calls if n == "collectGrabMeterStart" and a[1].split("/")[-2] == rid]
        assert starts and starts[0][3] == "repomd.xml" and starts[0][1].startswith(shared.root)
        assert [a for n, a in calls if n == "collectProgress" and a[2] == rid] == [
            (0, 1, rid), (1, 1, rid), (-1, -1, rid)]
    # every meter is started, updated and ended in that order
    open_meters = set()
    for n, a in calls:
        if n == "collectGrabMeterStart":
            open_meters.add(id(a[0]))
        elif n in ("collectGrabMeterUpdate", "collectGrabMeterEnd"):
            assert id(a[0]) in open_meters
            if n == "collectGrabMeterEnd":
                open_meters.discard(id(a[0]))
    assert not open_meters


def test_catalogue(shared):
    assert sorted(shared.updates) == ["apricot-1.1-1.i686", "kettle-3.0-1.x86_64", "pear-1.1-1.x86_64",
                                      "quince-1.1-1.noarch"]
    assert sorted(shared.installed) == [
        "apricot-1.0-1.i686", "cherry-1.0-1.noarch", "kettle-1.0-1.x86_64", "kettle-2.0-1.x86_64",
        "lime-1.0-1.noarch", "medlar-1.0-1.x86_64", "pear-1.0-1.x86_64", "plum-1.0-1.x86_64",
        "quince-1.0-1.x86_64", "tomato-1.0-1.noarch"]
    # the available rows are checked through the engine in the catalogue tests
    assert "medlar-1.1-1.i686" in shared.available and "walnut-1.0-1.noarch" not in shared.available
    assert not set(shared.installed) & set(shared.available)


def test_package_objects(shared):
    grape, pear = shared.available["2:grape-3.0-1.x86_64"], shared.installed["pear-1.0-1.x86_64"]
    assert (grape.printVer(), pear.printVer()) == ("2:3.0-1", "1.0-1")
    assert grape.pkgtup == ("grape", "x86_64", "2", "3.0", "1")
    assert grape.repoid == "orvo-base" and grape.relativepath == "Packages/grape-3.0-1.x86_64.rpm"
    assert isinstance(grape.size, int) and grape.size > 0
    assert os.path.exists(grape.localPkg()) and grape.localHdr() == grape.localPkg()
    assert pear.localPkg() is None
    assert not hasattr(grape, "hdr") and not hasattr(pear, "relativepath")


@pytest.mark.parametrize("pkg", ["pear-1.0-1.x86_64", "pear-1.1-1.x86_64"])
def test_simple_strings(shared, pkg):
    p = shared.installed.get(pkg) or shared.updates[pkg]
    expected = {
        "summary": "A juicy pear", "group": "Applications/Food", "vendor": "Orvo Sandbox",
        "buildhost": "sandbox.orvo.invalid", "sourcerpm": pkg.rsplit(".", 1)[0] + ".src.rpm",
        "license": "MIT", "packager": "Orvo Developers <dev@orvo.invalid>",
        "url": "http://orvo.invalid/pear", "buildtime": 1736150400,
        "repoid": "installed" if pkg in shared.installed else "orvo-updates",
    }
    assert {tag: p.returnSimple(tag) for tag in expected} == expected
    assert p.returnSimple("description").startswith("A pear that ripens")
    with pytest.raises(KeyError):
        p.returnSimple("nosuchtag")
    assert shared.available["breakfast-1.0-1.noarch"].returnSimple("group") == "Suite"
    # A tag the package does not have is missing, also for installed packages.
    for tag in ("vendor", "packager", "url"):
        with pytest.raises(KeyError):
            shared.installed["plum-1.0-1.x86_64"].returnSimple(tag)
    assert shared.available["plum-1.0-1.i686"].returnSimple("vendor") == ""


def test_prco_files_and_changelog(shared):
    pear = shared.installed["pear-1.0-1.x86_64"]
    assert shared.updates["pear-1.1-1.x86_64"].returnPrco("requires") == [("pear-data", "GE", ("0", "1.1", None))]
    ng = shared.available["cherry-ng-2.0-1.noarch"]
    assert ng.returnPrco("obsoletes") == [("cherry", "LT", ("0", "2.0", None))]
    assert ("cherry", "EQ", ("0", "2.0", "1")) in ng.returnPrco("provides")
    assert shared.available["lemon-1.0-1.noarch"].returnPrco("conflicts") == [("lime", None, (None, None, None))]
    assert ("fruit(pear)", "EQ", ("0", "1.0", None)) in pear.returnPrco("provides")
    assert pear.returnFileEntries("dir") == ["/usr/share/pear"]
    assert pear.returnChangelog() == [(1736164800, "Orvo Developers <dev@orvo.invalid> - 1.0-1", "- First harvest.")]
    assert "/usr/share/pear-data/seeds" in shared.available["pear-data-1.1-1.noarch"].returnFileEntries("file")


@pytest.mark.parametrize("pkg", ["pear-1.0-1.x86_64", "plum-1.0-1.x86_64", "pear-1.1-1.x86_64", "plum-1.0-1.i686"])
def test_file_lists_are_what_rpm_lists(shared, sandbox, pkg):
    p = shared.installed.get(pkg) or shared.updates.get(pkg) or shared.available[pkg]
    if pkg in shared.installed:
        query = ["rpm", "--root", shared.root, "--dbpath", "/var/lib/rpm", "-ql", pkg]
    else:
        query = ["rpm", "-qlp", os.path.join(sandbox, "repos", p.repoid.split("-")[-1], p.relativepath)]
    listed = subprocess.run(query, stdout=subprocess.PIPE, universal_newlines=True, check=True).stdout.split()
    assert sorted(p.returnFileEntries("file")) == sorted(listed) and len(listed) >= 2


def test_installed_headers(shared):
    tomato = shared.installed["tomato-1.0-1.noarch"].hdr
    assert tomato[rpm.RPMTAG_NAME] == "tomato" and tomato[rpm.RPMTAG_PREFIXES] == ["/opt/tomato"]
    # each installed version has its own header
    assert [shared.installed[k].hdr[rpm.RPMTAG_VERSION]
            for k in ("kettle-1.0-1.x86_64", "kettle-2.0-1.x86_64")] == ["1.0", "2.0"]


def test_arch_classes_and_preference(shared):
    io = shared.io
    assert [io.getBiArch(a) for a in ("x86_64", "i686", "i386", "noarch", "ppc64", "ppc")] == \
        ["x86_64", "i386", "i386", "noarch", "ppc64", "ppc"]
    plum64, plum32 = shared.installed["plum-1.0-1.x86_64"], shared.available["plum-1.0-1.i686"]
    assert io.isBetterThan(plum64, plum32) is True and io.isBetterThan(plum32, plum64) is False
    assert io.isBetterThan(shared.updates["pear-1.1-1.x86_64"], shared.installed["pear-1.0-1.x86_64"])
    # the architecture's closeness to the machine's own comes before the version
    medlar64, medlar32 = shared.installed["medlar-1.0-1.x86_64"], shared.available["medlar-1.1-1.i686"]
    assert io.isBetterThan(medlar64, medlar32) is True and io.isBetterThan(medlar32, medlar64) is False
    assert io.isBetterThan(shared.installed["quince-1.0-1.x86_64"], shared.updates["quince-1.1-1.noarch"])


def test_groups(shared):
    g = shared.groups
    assert [(n, g[n].user_visible, g[n].installed) for n in sorted(g)] == [
        ("Garden", True, True), ("Grove", True, True), ("Kitchen", True, False), ("Orchard", True, True),
        ("Pantry", False, False), ("Pie", True, True)]
    orchard = g["Orchard"]
    assert type(orchard.mandatory_packages) is dict and sorted(orchard.mandatory_packages) == ["pear", "quince"]
    assert orchard.conditional_packages == {"fig-extras": "fig"}
    assert sorted(orchard.requiredPkgs("Orchard")) == ["pear", "plum", "quince"]


def test_other_data_then_cleaning(new_session):
    s = new_session().collect()
    pear = s.updates["pear-1.1-1.x86_64"]
    assert s.io.collectFileLists() is True and s.io.collectOtherData() is True
    # the objects already handed out gain the changelog
    assert [c[2] for c in pear.returnChangelog()] == ["- Crisper skin.\n- Needs pear-data now.", "- First harvest."]
    assert pear.returnSimple("summary") == "A juicy pear"
    cache = s.io.conf.cachedir
    s.io.flush()
    assert any(f.endswith(".solv") for f in os.listdir(cache))
    for name in ("cleanHeaders", "cleanPackages", "cleanMetadata", "cleanPickles", "cleanSqlite"):
        res = getattr(s.io, name)()
        assert isinstance(res, tuple) and res[0] == 0, name
    left = subprocess.run(["find", cache, "-name", "*.solv*", "-o", "-name", "repomd.xml"],
                          stdout=subprocess.PIPE, universal_newlines=True).stdout
    assert left == ""


@pytest.mark.parametrize("raised,expected", [
    ("dnf.exceptions.RepoError(\"Failed to download metadata for repo 'x': Cannot download repomd.xml: "
     "All mirrors were tried\")", "NoMoreMirrorsRepoError"),
    ("libdnf.error.Error('Curl error (7): Could not connect to server')", "NoMoreMirrorsRepoError"),
    ("dnf.exceptions.RepoError('Cannot find a valid baseurl for repo: x')", "RepoError"),
    ("dnf.exceptions.MetadataError('repomd.xml parser error')", "RepoError"),
    ("dnf.exceptions.DownloadError({'pear-1.1-1.x86_64': ['Cannot download Packages/pear.rpm']})", "YumBaseError"),
    ("dnf.exceptions.LockError('locked')", "LockError"),
    ("dnf.exceptions.CompsError('no group')", "GroupsError"),
    ("dnf.exceptions.DepsolveError('nothing provides lime')", "YumBaseError"),
    ("libdnf.error.Error('Failed to load the system repository')", "YumBaseError"),
    ("Errors.RepoError('already mapped')", "RepoError"),
])
def test_errors_mapped_by_what_happened(script, raised, expected):
    """dnf's failures become the yum class that names what happened."""
    error = eval(raised, script)
    mapped = script["_yumError"](error)
    assert type(mapped) is getattr(script["Errors"], expected)
    assert str(mapped) == str(error)


@pytest.mark.parametrize("callback", ["collectGrabMeterStart", "collectGrabMeterUpdate"])
def test_interrupt_in_download_callback_stays_an_interrupt(script, new_session, monkeypatch, callback):
    """An interrupt raised by a callback inside dnf's downloads reaches the engine as one, once."""
    s = new_session()

    def interrupted(*args):
        raise KeyboardInterrupt()
    monkeypatch.setattr(sys.modules["yumIOC"], callback, interrupted)
    with pytest.raises(KeyboardInterrupt):
        s.io.setupRepos()
    later = script["_yumError"](script["dnf"].exceptions.RepoError("Cannot find a valid baseurl"))
    assert type(later) is script["Errors"].RepoError


def test_collect_rows_match_single_reads(shared):
    """Bulk rows carry what the engine would read one attribute at a time."""
    def simple(po, tag):
        try:
            return po.returnSimple(tag)
        except KeyError:
            return None

    class Nameless(object):
        arch = "x86_64"

        @property
        def name(self):
            raise ValueError("no name")

    pkgs = list(shared.updates.values()) + list(shared.installed.values()) + list(shared.available.values())
    broken = Nameless()
    rows = shared.io.collectRows(pkgs + [broken])
    assert rows[-1] is broken
    for po, row in zip(pkgs, rows):
        assert row == (po, po.name, po.arch, po.printVer(), simple(po, "repoid"), simple(po, "group"), po.size,
                       simple(po, "summary"), simple(po, "buildtime"))

"""Real transactions, each on a private copy of the sandbox root."""

from conftest import ordered

RUN_ORDER = ["listTransaction", "reportDownloadSize", "userconfirm", "gpgsigcheck",
             "tsInitCallback", "tsInitCallback", "tsEvent", "postTransactionOutput"]


def test_install_callbacks_in_order(fresh):
    fresh.io.apply([fresh.available["melon-1.0-1.x86_64"]], [], [])
    rec = fresh.rec
    assert ordered(rec.names()) == ["dsTsCheck", "dsRestartLoop", "dsTsCheck"] + RUN_ORDER
    assert rec.tsinfo() == ["Marking melon-libs-1.0-1.x86_64 as install"]
    for pkg, code, done, total, index, count in rec.of("tsEvent"):
        assert code == 20 and 0 <= done <= total and 1 <= index <= count == 2


def test_group_members_then_group_installed(fresh, new_session):
    pantry = fresh.groups["Pantry"]
    fresh.io.apply([p for p in fresh.available.values() if p.name in pantry.requiredPkgs("Pantry")], [], [])
    fresh.io.flush()
    again = new_session(fresh.root).collect()
    assert again.groups["Pantry"].installed and "fig-1.0-1.noarch" in again.installed

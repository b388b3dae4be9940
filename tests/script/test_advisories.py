"""Advisories of the sandbox's update information, as the script hands them to the engine."""

import calendar


def test_advisories_fixed_by_each_update(shared):
    updates = sorted(shared.updates.values(), key=str)
    records, fixes = shared.io.collectAdvisories(updates)
    assert {str(p): ids for p, ids in zip(updates, fixes)} == {
        # one advisory covering two packages
        "apricot-1.1-1.i686": ["ORVO-SA-2026:0101"],
        "pear-1.1-1.x86_64": ["ORVO-SA-2026:0101"],
        "kettle-3.0-1.x86_64": ["ORVO-BA-2026:0102"],
        # a noarch update of an x86_64 package
        "quince-1.1-1.noarch": ["ORVO-EA-2026:0103"],
        "date-2.0-1.noarch": [],
    }
    # Neither the advisory of a package that is not installed nor the one that the
    # installed version already fixes.
    assert sorted(records) == ["ORVO-BA-2026:0102", "ORVO-EA-2026:0103", "ORVO-SA-2026:0101"]
    assert records["ORVO-SA-2026:0101"] == (
        "security", "ORVO-SA-2026:0101", "pear and apricot: crafted archives overwrite files", "Important",
        calendar.timegm((2026, 1, 12, 9, 30, 0)),
        "Unpacking a crafted archive could overwrite files outside the target directory.",
        (("cve", "CVE-2026-10001", "CVE-2026-10001", "https://www.cve.org/CVERecord?id=CVE-2026-10001"),
         ("bugzilla", "4101", "4101", "https://bugs.orvo.invalid/show_bug.cgi?id=4101")))
    assert records["ORVO-BA-2026:0102"][0] == "bugfix" and records["ORVO-EA-2026:0103"][0] == "enhancement"


def test_advisories_order_and_failure(script, shared, recorder):
    from yumio import advisories
    rec = lambda kind, aid, severity, issued: (kind, aid, "", severity, issued, "", ())
    ordered = sorted([rec("bugfix", "B", "", 9), rec("security", "L", "Low", 9), rec("security", "C", "Critical", 1),
                      rec("security", "I2", "Important", 2), rec("security", "I1", "Important", 1)],
                     key=advisories._order)
    assert [r[1] for r in ordered] == ["C", "I2", "I1", "L", "B"]

    # Update information that cannot be read costs the advisories only.
    recorder.reset()
    updates = list(shared.updates.values())
    base, shared.io._base = shared.io._base, None
    try:
        assert shared.io.collectAdvisories(updates) == ({}, [[]] * len(updates))
    finally:
        shared.io._base = base
    assert [c[0] for c in recorder.calls] == ["errorlog"] and recorder.calls[0][1][0] == 1

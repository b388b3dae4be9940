"""What the package manager reports reaching the engine: output, log, download meters."""

import logging
import os
import subprocess
import sys

import pytest

from conftest import add_repo, copy_root, installed, ordered


def test_output_goes_to_callbacks(script, recorder):
    out, err = script["_redirected"]
    recorder.reset()
    out.write("hello\n")
    err.write("oops\n")
    logging.getLogger("dnf").warning("careful")
    logging.getLogger("dnf").info("plain")
    assert recorder.calls == [("stdoutWrite", ("hello\n",)), ("stderrWrite", ("oops\n",)),
                              ("errorlog", (1, "careful")), ("log", (2, "plain"))]


def test_repository_reading_callbacks(shared):
    calls = [c for c in shared.setupCalls if c[0].startswith("collect")]
    for rid in ("orvo-base", "orvo-updates"):
        starts = [a for n, a in calls if n == "collectGrabMeterStart" and a[1].split("/")[-2] == rid]
        assert starts and starts[0][3] == "repomd.xml" and starts[0][1].startswith(shared.root)
        assert [a for n, a in calls if n == "collectProgress" and a[2] == rid] == [
            (0, 1, rid), (1, 1, rid), (-1, -1, rid)]


SERVER = r"""
import functools, http.server, shutil, sys, time
class Slow(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *args):
        pass
    def copyfile(self, source, outputfile):
        if not self.path.endswith(".rpm"):
            return shutil.copyfileobj(source, outputfile)
        # packages trickle in, so that the downloads run side by side
        for chunk in iter(lambda: source.read(512), b""):
            outputfile.write(chunk)
            outputfile.flush()
            time.sleep(0.01)
server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Slow, directory=sys.argv[1]))
print(server.server_address[1], flush=True)
server.serve_forever()
"""


@pytest.fixture
def http_repos(sandbox):
    """The sandbox repositories served slowly over HTTP from another process (dnf holds the
    interpreter lock while it downloads)."""
    proc = subprocess.Popen([sys.executable, "-c", SERVER, os.path.join(sandbox, "repos")],
                            stdout=subprocess.PIPE, universal_newlines=True)
    try:
        yield "http://127.0.0.1:%d" % int(proc.stdout.readline())
    finally:
        proc.kill()
        proc.wait()


def rows_of_updates(calls):
    """Places the meter calls as the engine does (a batch meter keeps the row it got when new,
    otherwise the one item row).  Gives (file the update belongs to, file its row shows)."""
    rows, rowOfMeter, fileOfMeter, landed = {}, {}, {}, []
    parallel = False
    for name, args in calls:
        meter = id(args[0]) if args else None
        row = rowOfMeter.get(meter, 0) if parallel else "item"
        if name == "applyGrabMultiMeterStart":
            parallel, rowOfMeter = True, {}
        elif name == "applyGrabMultiMeterEnd":
            parallel = False
        elif name == "applyGrabMultiMeterNew":
            rowOfMeter[meter] = len(rowOfMeter)
        elif name == "applyGrabMeterStart":
            fileOfMeter[meter] = rows[row] = os.path.basename(args[1])
        elif name == "applyGrabMeterUpdate":
            landed.append((fileOfMeter.get(meter), rows.get(row)))
    return landed


def test_downloads_report_meters(new_session, recorder, sandbox, tmp_path, http_repos):
    root = copy_root(sandbox, tmp_path)
    add_repo(root, "orvo-http", http_repos + "/updates", "proxy=_none_\n")
    s = new_session(root)
    s.io.disableRepo("orvo-updates")
    s.collect()
    u, i = s.updates, s.installed
    recorder.reset()
    s.io.apply([], [[u["pear-1.1-1.x86_64"], i["pear-1.0-1.x86_64"]], [u["quince-1.1-1.noarch"], i["quince-1.0-1.x86_64"]],
                    [u["apricot-1.1-1.i686"], i["apricot-1.0-1.i686"]]], [])
    names = ordered(recorder.names())
    assert names.index("userconfirm") < names.index("applyGrabMultiMeterStart") < names.index("applyGrabMultiMeterEnd")
    files = ["apricot-1.1-1.i686.rpm", "pear-1.1-1.x86_64.rpm", "pear-data-1.1-1.noarch.rpm", "quince-1.1-1.noarch.rpm"]
    starts = recorder.of("applyGrabMeterStart")
    assert sorted(os.path.basename(a[1]) for a in starts) == files
    assert {(id(m), n) for m, n in recorder.of("applyGrabMeterEnd")} == {(id(a[0]), a[4]) for a in starts}
    # every update reaches the row of its own file
    landed = rows_of_updates(recorder.calls)
    assert landed and all(own == shown for own, shown in landed), landed
    assert "pear-1.1-1.x86_64" in installed(s.root)

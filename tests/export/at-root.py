#!/usr/bin/python3
"""Points an exported playbook's package tasks at a system root: at-root.py IN OUT ROOT CONF RELEASEVER

The exported playbook targets real hosts; a test runs it against a directory instead.
Every play gets module defaults for ansible.builtin.dnf (install root, configuration
file, release version); the tasks are left exactly as exported.
"""
import sys

import yaml

source, target, root, conf, releasever = sys.argv[1:6]
with open(source) as fh:
    plays = yaml.safe_load(fh)
for play in plays:
    play["module_defaults"] = {
        "ansible.builtin.dnf": {"installroot": root, "conf_file": conf, "releasever": releasever}
    }
with open(target, "w") as fh:
    yaml.safe_dump(plays, fh, sort_keys=False)

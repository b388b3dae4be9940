"""Other versions of installed packages: what an installed package can go back to,
whether its own version can be installed again, and the requests that do either."""

import dnf.exceptions


def _verRel(p):
    if p.epoch:
        return "%s:%s-%s" % (p.epoch, p.version, p.release)
    return "%s-%s" % (p.version, p.release)


def older(query, installed):
    """Versions older than the installed package that a repository offers, newest first."""
    q = query.available().filter(name=installed.name, arch=[installed.arch, "noarch"])
    found = {}
    for p in q:
        if p.evr_cmp(installed) < 0:
            found.setdefault(_verRel(p), p)
    return [v for v, _p in sorted(found.items(), key=lambda kv: kv[1], reverse=True)]


def reinstallable(query, installed):
    """Whether a repository offers the installed version itself."""
    return bool(query.available().filter(name=installed.name, arch=installed.arch, evr=installed.evr))


def _find(query, name, arch, verRel):
    evr = verRel if ":" in verRel else "0:" + verRel
    found = query.available().filter(name=name, arch=[arch, "noarch"])
    found = [p for p in found if ("%s:%s-%s" % (p.epoch, p.version, p.release)) == evr]
    return found[0] if found else None


def request(base, requests):
    """Puts ("install" | "downgrade" | "reinstall", installed-or-available package,
    version-release) requests into the goal; returns the packages asked for, by name."""
    wanted = set()
    query = base.sack.query()
    for kind, pkg, verRel in requests:
        target = _find(query, pkg.name, pkg.arch, verRel)
        if target is None:
            raise dnf.exceptions.MarkingError("No package %s-%s.%s available." % (pkg.name, verRel, pkg.arch))
        if kind == "downgrade":
            if not base.package_downgrade(target, strict=True):
                raise dnf.exceptions.MarkingError("Package %s of lower version already installed." % pkg.name)
        elif kind == "reinstall":
            base.package_reinstall(target)
        else:
            base.package_install(target, strict=True)
        wanted.add(str(target))
    return wanted



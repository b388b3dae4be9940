"""The yum interface level that Orvo's companion script presents.

The package manager underneath is dnf; this package only carries what the
program looks up by name: the interface version and the error classes.
"""

__version__ = "3.4.3"

from yum import Errors  # noqa: E402,F401  (yum.Errors must be reachable as an attribute)

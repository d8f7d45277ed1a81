"""Drives zelobox from tests: the middleware of a set-top box, and a host that loads the library."""

from .host import Host
from .middleware import Middleware
from .process import ZeloboxError

__all__ = ["Host", "Middleware", "ZeloboxError"]

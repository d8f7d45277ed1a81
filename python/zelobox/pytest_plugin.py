"""Fixtures, with the traffic attached to the report of a test that fails."""

import json

import pytest

from .host import Host
from .middleware import Middleware


def pytest_addoption(parser):
    parser.getgroup("zelobox").addoption("--zelobox", metavar="PATH", help="the program, otherwise $ZELOBOX or the path")


@pytest.fixture
def zelobox_middleware(request):
    """A middleware on a socket of its own."""
    with Middleware(program=request.config.getoption("--zelobox")) as middleware:
        yield middleware


@pytest.fixture
def zelobox_host(request, zelobox_middleware):
    """A host that has started with zelobox_middleware."""
    with Host(zelobox_middleware, program=request.config.getoption("--zelobox")) as host:
        host.start()
        yield host


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    outcome = yield
    report = outcome.get_result()
    middleware = getattr(item, "funcargs", {}).get("zelobox_middleware")
    if report.when == "call" and report.failed and middleware is not None:
        try:
            text = "\n".join(json.dumps(record) for record in middleware.trace())
        except OSError as error:
            text = f"the middleware has gone: {error}"
        report.sections.append(("zelobox trace", text))

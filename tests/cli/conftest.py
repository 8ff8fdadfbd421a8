"""Fixtures of the orvel-sound-sim command tests."""
import pytest

from sim_tool import Tool


@pytest.fixture
def tool(tmp_path):
    t = Tool(tmp_path)
    yield t
    for r in t.running:
        r.close()


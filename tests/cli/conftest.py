# Fixtures of the orvel-sound-sim command tests.
from sim_tool import desk, tool  # noqa: F401

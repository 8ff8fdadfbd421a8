# Fixtures of the orvel-sound-sim command tests.
from sim_tool import tool  # noqa: F401

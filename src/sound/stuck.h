// What the process does when the audio system's own library hangs inside a
// call, past every deadline of ours (libpulse 16 can spin for ever when a
// server dies at the wrong moment of a connection). The process can't go on:
// the handler that the command set says so and ends the process; without one
// it ends with status 1. A backend that sees the hang calls soundSystemStuck
// from a thread of its own.
#pragma once

namespace orvel {

using StuckHandler = void (*)();

// Replaces the handler; safe from any thread.
void onStuck(StuckHandler handler);

[[noreturn]] void soundSystemStuck();

}  // namespace orvel

#pragma once

// Registers the instructions of this layer's statements with the machine's
// statement table. Called once at start by the application, before a
// machine runs; calling it again changes nothing.
void Register_Statements();

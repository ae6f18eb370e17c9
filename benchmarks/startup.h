#pragma once

/** Argument that makes the program one measured start instead of the benchmark. */
extern const char startupArgument[];

/** Starts the program again and again, and prints how long it takes and what it occupies. */
void measureStartup();

/** Shows the window as the program does, prints the moment it is shown and the memory used. */
int runStartup();

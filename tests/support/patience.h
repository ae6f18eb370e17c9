#pragma once

/**
 * Returns how long a test may wait for what has to happen, in ms. It is four seconds, a quarter of
 * that after each function of the program that has failed, and nothing in one that has. So a
 * program in which nothing works any more says so in seconds, and still runs all of its functions.
 *
 * @p ordinary is another time for what takes long: the start of a program, say.
 */
int patienceMs(int ordinary = 4000);

/** Shortens the patience if the function that runs has failed. For fixtures, at their end. */
void loseSomePatience();

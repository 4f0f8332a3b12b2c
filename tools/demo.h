// Self-play from a file of opening positions.
#pragma once

constexpr const char *DEMO_OPENINGS = "openings.epd";

// Plays the engine against itself from each line of `path`, a FEN a line, under the search settings in force.
void Demo(const char *path);

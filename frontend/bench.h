// `bench [depth]`: a fixed-depth search of a built-in set of positions. The total node count is a
// signature of the search: the same binary gives the same number on any machine, whatever the
// settings, the tables or the input, so a change that alters it changes the search.
#pragma once

// Depth of a plain `bench`, in iterations as `sd` counts them.
constexpr int BENCH_DEFAULT_DEPTH = 12;

// Searches every position to `depth`, one line per position, and ends with the line
// "<nodes> nodes <nps> nps". The game, the settings and the table size are put back afterwards;
// what the tables had learnt is forgotten, as after `clean`.
void BenchCommand(int depth);

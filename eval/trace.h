// Tuning hooks. The tuner builds the evaluation a second time with VELUMBRAK_TRACE defined: every
// packed term that enters the score as a plain sum then reports which word of which table it
// added and how often. In the engine the hooks are empty, so the evaluation is the same code.
#pragma once
#include <cstdint>

#ifdef VELUMBRAK_TRACE
// `entry` (a word of a packed table) was added `count` times to the packed score from Black's
// view; a negative count subtracts it.
void TraceTerm(const int32_t* entry, int count);
// The rules after the blend turned the score `before` into `after`; `fixed` when no such rule
// could have acted in this position, whatever the score.
void TraceScale(int before, int after, bool fixed);
#define TRACE_TERM(entry, count) TraceTerm(&(entry), (count))
#define TRACE_SCALE(before, after, fixed) TraceScale((before), (after), (fixed))
#else
#define TRACE_TERM(entry, count) ((void)0)
#define TRACE_SCALE(before, after, fixed) ((void)0)
#endif

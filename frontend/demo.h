// The `demo` command: the engine plays itself from each position of "openings.epd".
#pragma once

void RunDemo();

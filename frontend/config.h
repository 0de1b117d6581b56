// Velumbrak.ini: settings read once at start-up from the current directory.
#pragma once

// Reads "Velumbrak.ini" over the defaults of the settings; a missing file changes nothing. Bad
// values are replaced with a warning that names the line.
void ReadConfigurationFile();

// The front end's own settings, and the start-up defaults of the settings of every subsystem.
#pragma once

extern int Pondering; // the engine may think on the opponent's time at all (ini file)
extern int FritzMode; // the game memory survives `new`, as in UCI mode

// Every setting of the engine back to its compiled-in default.
void SetDefaultSettings();

#pragma once

// The sub-commands of qlm-mesh. Each takes the arguments after its name and returns the exit
// code: 0 on success, 2 on bad arguments or unreadable input (after one line on stderr).

int runInfo(int argc, char** argv);
int runConvert(int argc, char** argv);
int runGenerate(int argc, char** argv);
int runDecimate(int argc, char** argv);
int runSmooth(int argc, char** argv);
int runHoles(int argc, char** argv);
int runColors(int argc, char** argv);

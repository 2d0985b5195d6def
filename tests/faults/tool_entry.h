// The entry of ostrel.exe under a name of its own.
#pragma once

int RunTool(int argc, char** argv);

// All of the program is in its libraries; this file only gives the linker something to start from.

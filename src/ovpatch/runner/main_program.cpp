// The program is its rooms; this file only gives the linker something to start from.

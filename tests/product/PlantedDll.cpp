// A DLL to lie under a name of the system's: what somebody else could put beside the program. It
// has none of the functions of the DLL whose name it takes.

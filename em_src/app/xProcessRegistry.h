#pragma once
// The wiring of the chain, the same for every front end: which descriptor the
// processes share, and which process each id of the chain makes.

class xShellApp;

// Makes xEMDesc the descriptor that processes open.
void RegisterDescriptor();
// Gives the shell a maker for every process of the chain that is built.
void RegisterChainProcesses(xShellApp& shell);

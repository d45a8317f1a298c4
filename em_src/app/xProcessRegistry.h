#pragma once
// The wiring of the chain: which descriptor the processes share.

// Makes xEMDesc the descriptor that processes open.
void RegisterDescriptor();

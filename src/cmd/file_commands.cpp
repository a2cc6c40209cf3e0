// modelr file ...: opening, saving and checking files.
#include "cmd/families.h"
#include "cmd/host.h"

void fileCommand(char** words) { (void)words; }

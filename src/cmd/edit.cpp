// modelr add ... and modelr delete ...: create and remove the items of the
// current model.
#include "cmd/families.h"
#include "cmd/host.h"

void addCommand(char** words) { (void)words; }
void deleteCommand(char** words) { (void)words; }

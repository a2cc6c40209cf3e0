// The command families the dispatcher hands words to. Each takes the word
// list positioned at its own keyword.
#pragma once

struct Workspace;

void absorbCommand(Workspace& ws, char** words);    // absorb.cpp
void addCommand(Workspace& ws, char** words);       // edit.cpp
void deleteCommand(Workspace& ws, char** words);    // edit.cpp
void displayCommand(Workspace& ws, char** words);   // display.cpp
void drawCommand(Workspace& ws, char** words);
void encodeCommand(Workspace& ws, char** words);      // view_commands.cpp
void callbackCommand(Workspace& ws, char** words);  // callbacks.cpp
void createCommand(Workspace& ws, char** words);    // create.cpp
void fileCommand(Workspace& ws, char** words);      // file_commands.cpp
void findCommand(Workspace& ws, char** words);      // query.cpp
void getCommand(Workspace& ws, char** words);       // query.cpp
void helpCommand(Workspace& ws, char** words);      // help.cpp
void messageCommand(Workspace& ws, char** words);   // misc.cpp
void systemCommand(Workspace& ws, char** words);    // misc.cpp
void poseCommand(Workspace& ws, char** words);      // pose.cpp
void resetCommand(Workspace& ws, char** words);     // view_commands.cpp
void resizeCommand(Workspace& ws, char** words);    // view_commands.cpp
void setCommand(Workspace& ws, char** words);       // set.cpp
void simulateCommand(Workspace& ws, char** words);  // simulate.cpp
void reloadCommand(Workspace& ws, char** words);    // file_commands.cpp
void deselectCommand(Workspace& ws, char** words);  // select.cpp
void matrixCommand(Workspace& ws, char** words);    // matrix_commands.cpp
void moveCommand(Workspace& ws, char** words);      // transform.cpp
void performCommand(Workspace& ws, char** words);   // perform.cpp
void pickCommand(Workspace& ws, char** words);      // pick.cpp
void printCommand(Workspace& ws, char** words);     // misc.cpp
void rotateCommand(Workspace& ws, char** words);    // transform.cpp
void scaleCommand(Workspace& ws, char** words);     // transform.cpp
void selectCommand(Workspace& ws, char** words);    // select.cpp
void toggleCommand(Workspace& ws, char** words);    // pick.cpp

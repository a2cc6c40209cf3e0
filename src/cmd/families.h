// The command families the dispatcher hands words to. Each takes the word
// list positioned at its own keyword.
#pragma once

void absorbCommand(char** words);    // absorb.cpp
void addCommand(char** words);       // edit.cpp
void deleteCommand(char** words);    // edit.cpp
void displayCommand(char** words);   // display.cpp
void drawCommand(char** words);      // view_commands.cpp
void callbackCommand(char** words);  // callbacks.cpp
void createCommand(char** words);    // create.cpp
void fileCommand(char** words);      // file_commands.cpp
void findCommand(char** words);      // query.cpp
void getCommand(char** words);       // query.cpp
void messageCommand(char** words);   // misc.cpp
void systemCommand(char** words);    // misc.cpp
void poseCommand(char** words);      // pose.cpp
void resetCommand(char** words);     // view_commands.cpp
void resizeCommand(char** words);    // view_commands.cpp
void setCommand(char** words);       // set.cpp
void reloadCommand(char** words);    // file_commands.cpp
void deselectCommand(char** words);  // select.cpp
void matrixCommand(char** words);    // matrix_commands.cpp
void moveCommand(char** words);      // transform.cpp
void performCommand(char** words);   // perform.cpp
void printCommand(char** words);     // misc.cpp
void rotateCommand(char** words);    // transform.cpp
void scaleCommand(char** words);     // transform.cpp
void selectCommand(char** words);    // select.cpp
void toggleCommand(char** words);    // misc.cpp

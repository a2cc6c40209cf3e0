// The command families the dispatcher hands words to. Each takes the word
// list positioned at its own keyword.
#pragma once

void callbackCommand(char** words);  // callbacks.cpp
void createCommand(char** words);    // create.cpp
void getCommand(char** words);       // query.cpp
void messageCommand(char** words);   // misc.cpp
void systemCommand(char** words);    // misc.cpp

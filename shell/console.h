// Console and xboard commands of the command chain that print or edit.
#pragma once

void PrintHelp();
void PrintBoard();
void PrintMoves();
void EditBoard();
void SetLevel(int tokenCount);
void ShowBookMoves();
void PrintTablebaseStatus();
// The static evaluation of the position with its main parts.
void PrintEvaluationReport();

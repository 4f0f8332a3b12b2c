// Steps of the evaluation shared by the driver and the endgame knowledge.
#pragma once
#include "board/types.h"

// Material score from Black's view, from the table or by hand beyond it; sets MaterialScore, the phases,
// the weighted force and the Ending flags.
i32 ReadMaterial();

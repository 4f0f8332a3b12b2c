// The settings file "Quarvelle.ini", read once at start.
#pragma once

void ReadSettings();

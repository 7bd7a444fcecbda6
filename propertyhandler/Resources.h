#pragma once

// Numbers of the library's resources, for the resource compiler and the code.
#define QIVO_STRING_PROJECT_NAME 7
#define QIVO_SCRIPT_APP_ID 101
#define QIVO_SCRIPT_HANDLER 102

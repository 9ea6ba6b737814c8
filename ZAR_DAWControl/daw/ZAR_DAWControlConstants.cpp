#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"

const double ZAR_DAWControlVersionNumber = 1.0;
const unsigned char ZAR_DAWControlVersionString[] = "@(#)PROGRAM:ZAR_DAWControl  PROJECT:ZAR_DAWControl-1\n";

// Every target runs quiet: the parsers log what they refuse, and a run feeds them little else.
#include <NorvikCore/NorvikDebug.h>

extern "C" int LLVMFuzzerInitialize(int*, char***);
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    NorvikDebug::setThreshold(NorvikDebug::Level::Off);
    return 0;
}

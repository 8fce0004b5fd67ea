#include "WrongInterfacePlugin.h"

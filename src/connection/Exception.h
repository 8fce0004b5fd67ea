#pragma once

// The whole family of failures that connections throw, for code that catches them. Code that
// only throws one branch may include that branch's header alone.
#include "connection/ExceptionBase.h"
#include "connection/NetworkException.h"
#include "connection/OperationException.h"
#include "connection/ServiceException.h"

#pragma once

#include "runtime/result.h"

namespace vantry::client {

// A program that uses the library needs the names of one namespace alone.
using vantry::Done;
using vantry::Error;
using vantry::ErrorCode;
using vantry::Outcome;
using vantry::Result;

}  // namespace vantry::client

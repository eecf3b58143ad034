#pragma once

#include "gateway/http_message.h"
#include "gateway/target.h"
#include "page/page_files.h"

namespace vantry::gateway {

// The files of the page, which are compiled in. Functions with no state.

/// Returns the file of the page at this address, or null.
const page::PageFile* PageFileAt(const Target& target);

/// Returns the file, or 304 without a body if the client has this version of it.
Response ResponseWith(const Request& request, const page::PageFile& file);

}  // namespace vantry::gateway

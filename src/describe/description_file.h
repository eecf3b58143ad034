#pragma once

#include <string>

#include "client/result.h"
#include "describe/descriptions.h"

namespace vantry::describe {

/// The reader of one file of descriptions.
class DescriptionFile {
public:
    /// Adds the entries of a file with this content to `all`, behind those that it holds. Returns
    /// Refused, with `all` unchanged, and says which entry is wrong.
    static client::Outcome AddTo(Descriptions& all, const std::string& content);
};

}  // namespace vantry::describe

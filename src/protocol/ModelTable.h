#pragma once

#include <QLatin1String>

namespace protocol {

/// The pod model of a version reply's code; "null" for a code without a model. The names are part
/// of the version text, which the interface compares case-sensitively.
QLatin1String modelName(int code);

} // namespace protocol

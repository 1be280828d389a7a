#pragma once

namespace Velmar::SDK::Types {

// Selects the text form of identifier values. Dotted (0): bytes as two hexadecimal digits each,
// neighbours separated by '.', as in 06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.00.
enum StringRepresentationEncodingType { Dotted = 0 };

}  // namespace Velmar::SDK::Types

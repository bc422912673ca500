#pragma once
// What assistive tools are told about our own widgets.

namespace tavolin {

/// Lets assistive tools know each of our widgets as what it is: texts, messages, pictures, the crop
/// box, a tool bar. Has to be called before the first of them is made, and does nothing when called
/// again.
void describeWidgets();

} // namespace tavolin

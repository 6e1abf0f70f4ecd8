#include <sorvex/bstring.h>

#include "strings/text_view.h"

namespace Sorvex {

BString& BString::leftJustify(size_type width, char fill) {
    const bool cut = size() > width;
    resize(width, fill);
    if (cut)
        cutToTextView(*this);
    return *this;
}

BString& BString::rightJustify(size_type width, char fill) {
    if (size() == width)
        return *this;
    if (size() > width) {
        resize(width);
        cutToTextView(*this);
        return *this;
    }
    // Room is made first: if that fails, nothing is lost.
    reserve(width);
    cutToTextView(*this);
    insert(size_type{0}, width - size(), fill);
    return *this;
}

}  // namespace Sorvex

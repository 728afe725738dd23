#include "common/str_concat.h"

namespace tb {

void CStrConcat::Concat(std::string_view text) {
    if (count_ > 0) buffer_.append(separator_);
    buffer_.append(text);
    ++count_;
}

void CStrConcat::Clear() {
    buffer_.clear();
    count_ = 0;
}

}  // namespace tb

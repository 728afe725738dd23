#pragma once
// The string builder used wherever long lists are built.

#include <cstddef>
#include <string>
#include <string_view>

namespace tb {

class CStrConcat {
  public:
    // Appends `text`, preceded by the separator unless it is the first item.
    void Concat(std::string_view text);
    const std::string& GetString() const { return buffer_; }
    // Growth step of the buffer in bytes; a hint only.
    void SetIncrement(std::size_t bytes) { buffer_.reserve(buffer_.size() + bytes); }
    void SetSeperator(std::string_view separator) { separator_ = separator; }
    std::size_t Length() const { return buffer_.size(); }
    std::size_t Count() const { return count_; }
    void Clear();

  private:
    std::string buffer_;
    std::string separator_;
    std::size_t count_ = 0;
};

}  // namespace tb

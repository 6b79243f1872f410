// Memory for pictures. Taking a large block costs the system a fault for each of its pages and the clearing of all of
// it, and that is no small part of the time that a picture takes. So large blocks ask for large pages, and those that
// are given back are kept for the next that fits. From any thread.
#pragma once

#include <cstddef>

namespace panorama {

// A block of memory, owned.
class Block {
 public:
  enum class Content { Zero, Anything };

  Block() = default;
  Block(size_t size, Content content);  // throws std::bad_alloc
  Block(Block&& other) noexcept;
  Block& operator=(Block&& other) noexcept;
  ~Block();

  void* Get() const { return data_; }

 private:
  void* data_ = nullptr;
  size_t room_ = 0;  // of a large block, else 0
};

}  // namespace panorama

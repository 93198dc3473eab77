// Read-only bytes held by whoever uses them rather than copied: the printer profile that a
// command reads for its checks, megabytes, is the very one its output embeds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

class SharedBytes {
public:
    SharedBytes() = default;
    // Takes the vector's bytes over (implicit: a vector is given wherever bytes are).
    SharedBytes(std::vector<uint8_t> bytes) {
        auto owner = std::make_shared<const std::vector<uint8_t>>(std::move(bytes));
        m_size = owner->size();
        m_data = std::shared_ptr<const uint8_t[]>(owner, owner->data());
    }
    // `size` bytes at `data`, which keeps them alive.
    SharedBytes(std::shared_ptr<const uint8_t[]> data, size_t size)
        : m_data(std::move(data)), m_size(size) {}

    const uint8_t* data() const { return m_data.get(); }
    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    const uint8_t& operator[](size_t i) const { return m_data[i]; }
    const uint8_t* begin() const { return data(); }
    const uint8_t* end() const { return data() + m_size; }

private:
    std::shared_ptr<const uint8_t[]> m_data;
    size_t m_size = 0;
};

#pragma once
// GLIFRandomSequence: the process-wide rand() sequence read in bulk. While an instance lives
// it answers exactly the numbers rand() would have answered, in the same order, and when it
// goes away the process-wide sequence carries on after the last number it handed out, as if
// each had come from rand(). A random walk over a large picture draws hundreds of millions
// of numbers; rand() takes a lock for every one, this reads them from a private copy of the
// generator's state.
//
// Only one instance may live at a time, and nothing may call rand() while it does (the
// generators run one at a time on one thread, see GLIFCoreObject.h). Where the C library's
// generator cannot be taken over (not the GNU C library, or a state other than the default
// one chosen by initstate), every number comes from rand() itself, so the numbers are the
// same either way.

#include <array>
#include <cstdint>
#include <cstdlib>

namespace cif {

class GLIFRandomSequence {
public:
    GLIFRandomSequence();
    ~GLIFRandomSequence();
    GLIFRandomSequence(const GLIFRandomSequence&) = delete;
    GLIFRandomSequence& operator=(const GLIFRandomSequence&) = delete;

    // The next number of the sequence, 0 .. RAND_MAX, as rand() would answer it.
    int next() {
        if (!m_taken) return std::rand();
        // The additive feedback generator behind rand(): each word becomes the sum of itself
        // and the word three places behind it, and the number is that sum without its
        // lowest bit.
        const std::uint32_t sum = m_state[m_front] + m_state[m_rear];
        m_state[m_front] = sum;
        m_front = m_front + 1 == kDegree ? 0 : m_front + 1;
        m_rear = m_rear + 1 == kDegree ? 0 : m_rear + 1;
        return int(sum >> 1);
    }

    // Whether the numbers come from the private copy (false: from rand() one by one).
    bool isTakenOver() const { return m_taken; }

    static constexpr int kDegree = 31;  // words of the default generator's state
    static constexpr int kSeparation = 3;

private:
    std::array<std::uint32_t, kDegree> m_state{};
    int m_front = 0;
    int m_rear = 0;
    char* m_library = nullptr;  // the C library's state array, handed back on destruction
    bool m_taken = false;
};

}  // namespace cif

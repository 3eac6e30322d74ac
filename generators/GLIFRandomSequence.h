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
#include <cstddef>
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
        if (m_used == m_blockSize) refill(1);
        return int(m_words[kDegree + m_used++] >> 1);
    }

    // The next count numbers (count at most kBlock) as the generator's words: number i is
    // words[i] >> 1. The words stay valid until the next call.
    const std::uint32_t* nextWords(std::size_t count) {
        if (m_blockSize - m_used < count) refill(count);
        const std::uint32_t* words = m_words.data() + kDegree + m_used;
        m_used += count;
        return words;
    }

    // Whether the numbers come from the private copy (false: from rand() one by one).
    bool isTakenOver() const { return m_taken; }

    static constexpr int kDegree = 31;  // words of the default generator's state
    static constexpr int kSeparation = 3;

private:
    // The generator behind rand() is additive: word n is word n - 31 plus word n - 3, and
    // each number is a word without its lowest bit. m_words holds the 31 words before the
    // current block, then the block; after m_used numbers of the block the generator's state
    // is m_words[m_used .. m_used + 30]. Without the copy a block is one number from rand().
public:
    static constexpr std::size_t kBlock = 4096;

private:
    // Starts a new block that begins with the numbers not yet handed out and holds at least
    // count numbers.
    void refill(std::size_t count);

    std::array<std::uint32_t, kDegree + kBlock> m_words{};
    // Counters of a type no caller's int data can alias, so that a loop drawing numbers and
    // adding to an int table keeps them in registers.
    std::size_t m_blockSize = 1;
    std::size_t m_used = 1;
    char* m_library = nullptr;  // the C library's state array, handed back on destruction
    bool m_taken = false;
};

}  // namespace cif

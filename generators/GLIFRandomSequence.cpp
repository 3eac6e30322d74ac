#include "generators/GLIFRandomSequence.h"

#include <algorithm>
#include <cstring>

namespace cif {

#if defined(__GLIBC__)

namespace {

// The GNU C library keeps rand()'s state in an array of 32 words: the first encodes the
// generator type and the position of the rear word (5 x rear + type), the other 31 are the
// state. setstate() switches to another array, writes the position of the old one into its
// first word, and answers the old array, which a later setstate() takes back.
constexpr std::int32_t kType3 = 3;
constexpr std::int32_t kMaxTypes = 5;
constexpr int kWords = GLIFRandomSequence::kDegree + 1;

// The array the library uses while an instance holds the real one. It is a valid state so
// that the library never reads garbage, although nothing draws from it.
alignas(8) std::int32_t g_parking[kWords] = {kType3};

// Reads the library's state array out, parking the library on g_parking. Answers the array,
// or null when the state is not the default generator's.
char* takeLibraryState(std::int32_t (&words)[kWords]) {
    g_parking[0] = kType3;
    char* library = setstate(reinterpret_cast<char*>(g_parking));
    if (!library) return nullptr;
    std::memcpy(words, library, sizeof(words));
    if (words[0] % kMaxTypes != kType3 || words[0] / kMaxTypes < 0 ||
        words[0] / kMaxTypes >= GLIFRandomSequence::kDegree) {
        setstate(library);
        return nullptr;
    }
    return library;
}

void giveLibraryState(char* library, const std::int32_t (&words)[kWords]) {
    std::memcpy(library, words, sizeof(words));
    setstate(library);
}

// Whether reading the state out gives the numbers rand() gives: checked once per process
// on a few numbers, leaving the sequence where it was.
bool copyMatchesLibrary() {
    std::int32_t saved[kWords];
    char* library = takeLibraryState(saved);
    if (!library) return false;
    std::uint32_t state[GLIFRandomSequence::kDegree];
    std::memcpy(state, saved + 1, sizeof(state));
    int rear = saved[0] / kMaxTypes;
    int front = (rear + GLIFRandomSequence::kSeparation) % GLIFRandomSequence::kDegree;
    int expected[64];
    for (int& e : expected) {
        state[front] += state[rear];
        e = int(state[front] >> 1);
        front = (front + 1) % GLIFRandomSequence::kDegree;
        rear = (rear + 1) % GLIFRandomSequence::kDegree;
    }
    giveLibraryState(library, saved);
    bool same = true;
    for (const int e : expected)
        same = same && std::rand() == e;
    // Back to where the sequence stood before the check.
    std::int32_t ignored[kWords];
    if (char* again = takeLibraryState(ignored)) giveLibraryState(again, saved);
    return same;
}

}  // namespace

GLIFRandomSequence::GLIFRandomSequence() {
    static const bool matches = copyMatchesLibrary();
    if (!matches) return;
    std::int32_t words[kWords];
    m_library = takeLibraryState(words);
    if (!m_library) return;
    // The library's ring of words, oldest first: the oldest is the front word, three places
    // after the rear one.
    const int front = (words[0] / kMaxTypes + kSeparation) % kDegree;
    for (int k = 0; k < kDegree; ++k)
        m_words[size_t(k)] = std::uint32_t(words[1 + (front + k) % kDegree]);
    m_blockSize = 0;
    m_used = 0;  // an empty block: the first number fills a new one
    m_taken = true;
}

GLIFRandomSequence::~GLIFRandomSequence() {
    if (!m_taken) return;
    // The ring written from index 0, oldest first; the front word is then 0 and the rear
    // word three places before it.
    std::int32_t words[kWords];
    words[0] = kMaxTypes * (kDegree - kSeparation) + kType3;
    for (int k = 0; k < kDegree; ++k)
        words[1 + k] = std::int32_t(m_words[size_t(m_used + k)]);
    giveLibraryState(m_library, words);
}

#else

GLIFRandomSequence::GLIFRandomSequence() = default;
GLIFRandomSequence::~GLIFRandomSequence() = default;

#endif

void GLIFRandomSequence::refill(std::size_t count) {
    if (!m_taken) {
        // One number at a time from rand(), never more than asked for.
        for (std::size_t i = 0; i < count; ++i)
            m_words[kDegree + i] = std::uint32_t(std::rand()) << 1;
        m_used = 0;
        m_blockSize = count;
        return;
    }
    // The 31 words before the next number, and the numbers not handed out yet, move to the
    // front; the rest of the block is generated after them.
    const std::size_t kept = kDegree + (m_blockSize - m_used);
    std::memmove(m_words.data(), m_words.data() + m_used, kept * sizeof(std::uint32_t));
    m_used = 0;
    m_blockSize = kBlock;
    // The three newest words ride in registers: each new word depends on the one three
    // places back.
    std::uint32_t* w = m_words.data();
    std::uint32_t a = w[kept - 3], b = w[kept - 2], c = w[kept - 1];
    std::size_t n = kept;
    const std::size_t end = kDegree + kBlock;
    for (; n + 3 <= end; n += 3) {
        a += w[n - kDegree];
        w[n] = a;
        b += w[n + 1 - kDegree];
        w[n + 1] = b;
        c += w[n + 2 - kDegree];
        w[n + 2] = c;
    }
    for (; n < end; ++n)
        w[n] = w[n - kDegree] + w[n - kSeparation];
}

}  // namespace cif

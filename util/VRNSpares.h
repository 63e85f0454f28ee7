// A few objects kept for the next use, so that the path of each packet seldom allocates.
#ifndef UTIL_VRN_SPARES_H
#define UTIL_VRN_SPARES_H

#include <array>
#include <cstddef>

// Guarded by its owner's lock.
template <typename T> class VRNSpares {
public:
    VRNSpares() = default;
    ~VRNSpares() {
        while (m_nCount > 0) {
            delete m_Spares[--m_nCount];
        }
    }
    VRNSpares(const VRNSpares&) = delete;
    VRNSpares& operator=(const VRNSpares&) = delete;

    // An object as it was given back, or a new one.
    T* Take() { return m_nCount > 0 ? m_Spares[--m_nCount] : new T; }

    void GiveBack(T* object) {
        if (m_nCount < m_Spares.size()) {
            m_Spares[m_nCount++] = object;
        } else {
            delete object;
        }
    }

private:
    static constexpr size_t LIMIT = 16; // more than a packet takes
    std::array<T*, LIMIT> m_Spares{};
    size_t m_nCount = 0;
};

#endif

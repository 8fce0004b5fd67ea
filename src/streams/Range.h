#pragma once

#include <utility>

namespace Norvik::Cloud::Extensions {

// A span of positions with left and right ends, each of them closed (inside the span) or open.
// length() is right minus left, so a closed span of n positions has length n - 1: the count
// that ranged downloads take.
template <typename T>
class Range
{
public:
    Range(T left, T right, bool leftClosed = true, bool rightClosed = true)
        : m_left(left)
        , m_right(right)
        , m_leftClosed(leftClosed)
        , m_rightClosed(rightClosed)
    {
        if (m_left > m_right)
            std::swap(m_left, m_right);
    }

    T left() const { return m_left; }
    T right() const { return m_right; }
    T length() const { return m_right - m_left; }

    bool contains(T x) const
    {
        const bool afterLeft = m_leftClosed ? x >= m_left : x > m_left;
        const bool beforeRight = m_rightClosed ? x <= m_right : x < m_right;
        return afterLeft && beforeRight;
    }

private:
    T m_left;
    T m_right;
    bool m_leftClosed;
    bool m_rightClosed;
};

} // namespace Norvik::Cloud::Extensions

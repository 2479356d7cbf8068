#pragma once

#include <cmath>

namespace Renderer
{
/// A point on the surface: pixels, y pointing down. Also a pair of texture coordinates.
struct Vector2
{
    float mX = 0.0f;
    float mY = 0.0f;
    bool operator==(const Vector2&) const = default;
};

constexpr Vector2 operator+(const Vector2& left, const Vector2& right)
{
    return {left.mX + right.mX, left.mY + right.mY};
}

constexpr Vector2 operator-(const Vector2& left, const Vector2& right)
{
    return {left.mX - right.mX, left.mY - right.mY};
}

constexpr Vector2 operator*(const Vector2& vector, float factor)
{
    return {vector.mX * factor, vector.mY * factor};
}

inline float gLength(const Vector2& vector)
{
    return std::sqrt(vector.mX * vector.mX + vector.mY * vector.mY);
}

struct Vector3
{
    float mX = 0.0f;
    float mY = 0.0f;
    float mZ = 0.0f;
    bool operator==(const Vector3&) const = default;
};

/// Each component from 0 to 1; alpha 1 is opaque.
struct Colour
{
    float mRed = 0.0f;
    float mGreen = 0.0f;
    float mBlue = 0.0f;
    float mAlpha = 0.0f;
    bool operator==(const Colour&) const = default;
};

/// A rectangle on the surface. A width or height below zero is an empty one.
struct Rectangle
{
    float mX = 0.0f;
    float mY = 0.0f;
    float mWidth = 0.0f;
    float mHeight = 0.0f;
    bool operator==(const Rectangle&) const = default;
};
}

#pragma once

#include "Renderer/Vectors.h"

#include <array>

namespace Renderer
{
/// 4 x 4 floats laid out as OpenGL wants them: the first four are the first column. Vectors are columns, so in a
/// product the right factor is applied first.
struct Matrix4
{
    std::array<float, 16> mElements{};
    bool operator==(const Matrix4&) const = default;
};

inline constexpr Matrix4 gIdentityMatrix{{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};

Matrix4 operator*(const Matrix4& left, const Matrix4& right);
std::array<float, 4> operator*(const Matrix4& matrix, const std::array<float, 4>& vector);

Matrix4 gMakeTranslation(const Vector3& offset);
/// Counter-clockwise for one who looks against the axis; angles in radians.
Matrix4 gMakeRotationY(float angle);
Matrix4 gMakeRotationZ(float angle);
}

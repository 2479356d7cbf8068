#include "Renderer/Matrix4.h"

#include <cmath>
#include <cstddef>

namespace Renderer
{
Matrix4 operator*(const Matrix4& left, const Matrix4& right)
{
    Matrix4 product;
    for (std::size_t column = 0; column < 4; ++column)
    {
        for (std::size_t row = 0; row < 4; ++row)
        {
            float sum = 0.0f;
            for (std::size_t k = 0; k < 4; ++k)
            {
                sum += left.mElements[k * 4 + row] * right.mElements[column * 4 + k];
            }
            product.mElements[column * 4 + row] = sum;
        }
    }
    return product;
}

std::array<float, 4> operator*(const Matrix4& matrix, const std::array<float, 4>& vector)
{
    std::array<float, 4> product{};
    for (std::size_t column = 0; column < 4; ++column)
    {
        for (std::size_t row = 0; row < 4; ++row)
        {
            product[row] += matrix.mElements[column * 4 + row] * vector[column];
        }
    }
    return product;
}

Matrix4 gMakeTranslation(const Vector3& offset)
{
    return {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, offset.mX, offset.mY, offset.mZ, 1}};
}

Matrix4 gMakeRotationY(float angle)
{
    const float c = std::cos(angle);
    const float s = std::sin(angle);
    return {{c, 0, -s, 0, 0, 1, 0, 0, s, 0, c, 0, 0, 0, 0, 1}};
}

Matrix4 gMakeRotationZ(float angle)
{
    const float c = std::cos(angle);
    const float s = std::sin(angle);
    return {{c, s, 0, 0, -s, c, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};
}
}

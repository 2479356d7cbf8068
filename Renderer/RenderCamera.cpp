#include "Renderer/RenderCamera.h"

#include <algorithm>
#include <cmath>

namespace Renderer
{
namespace
{
/// Turns world axes into OpenGL's eye axes: (x, y, z) goes to (y, z, -x).
constexpr Matrix4 gEyeAxes{{0, 0, -1, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1}};
/// Straight up or down, short of a fifth of a radian.
constexpr float gMaximumPitch = 1.3707963f;
}

Matrix4& RenderCamera::GetView(Matrix4& out) const
{
    if (mPitch == 0.0f && mYaw == 0.0f && mPosition == Vector3{})
    {
        return out = gIdentityMatrix;
    }
    // The inverse of translation x yaw x pitch.
    return out = gMakeRotationY(-mPitch) * gMakeRotationZ(-mYaw) *
                 gMakeTranslation({-mPosition.mX, -mPosition.mY, -mPosition.mZ});
}

void RenderCamera::Move(const Vector3& delta)
{
    mPosition = {mPosition.mX + delta.mX, mPosition.mY + delta.mY, mPosition.mZ + delta.mZ};
}

void RenderCamera::MoveLocal(const Vector3& delta)
{
    const std::array<float, 4> moved =
        gMakeRotationZ(mYaw) * gMakeRotationY(mPitch) * std::array{delta.mX, delta.mY, delta.mZ, 0.0f};
    Move({moved[0], moved[1], moved[2]});
}

void RenderCamera::Rotate(float pitch, float yaw)
{
    mPitch = std::clamp(mPitch + pitch, -gMaximumPitch, gMaximumPitch);
    mYaw += yaw;
}

void OrthoRenderCamera::Set(float left, float right, float top, float bottom, float nearPlane, float farPlane)
{
    mLeft = left;
    mRight = right;
    mTop = top;
    mBottom = bottom;
    mNear = nearPlane;
    mFar = farPlane;
}

Matrix4& OrthoRenderCamera::GetProjection(Matrix4& out) const
{
    const float width = mRight - mLeft;
    const float height = mTop - mBottom;
    const float depth = mFar - mNear;
    Matrix4 projection;
    projection.mElements[0] = 2.0f / width;
    projection.mElements[5] = 2.0f / height;
    projection.mElements[10] = -2.0f / depth;
    projection.mElements[12] = -(mRight + mLeft) / width;
    projection.mElements[13] = -(mTop + mBottom) / height;
    projection.mElements[14] = -(mFar + mNear) / depth;
    projection.mElements[15] = 1.0f;
    return out = projection * gEyeAxes;
}

void PerspRenderCamera::Set(float aspect, float fieldOfView, float nearPlane, float farPlane)
{
    mAspect = aspect;
    mFieldOfView = fieldOfView;
    mNear = nearPlane;
    mFar = farPlane;
}

Matrix4& PerspRenderCamera::GetProjection(Matrix4& out) const
{
    const float scale = std::tan(mFieldOfView / 2.0f);
    const float depth = mFar - mNear;
    Matrix4 projection;
    projection.mElements[0] = 1.0f / (scale * mAspect);
    projection.mElements[5] = 1.0f / scale;
    projection.mElements[10] = -(mFar + mNear) / depth;
    projection.mElements[11] = -1.0f;
    projection.mElements[14] = -2.0f * mFar * mNear / depth;
    return out = projection * gEyeAxes;
}
}

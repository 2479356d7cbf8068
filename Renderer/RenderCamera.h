#pragma once

#include "Renderer/Matrix4.h"

namespace Renderer
{
/// Where the eye is and how it looks. The world is right-handed with x pointing into the screen, y to the right and z
/// up; a camera that has not been moved stands at the origin and looks along x. Any thread, one at a time.
class RenderCamera
{
public:
    virtual ~RenderCamera() = default;

    /// From world axes as the view leaves them to clip coordinates: the projection, with the turn into OpenGL's eye
    /// axes ((x, y, z) goes to (y, z, -x)) applied first. Returns `out`.
    virtual Matrix4& GetProjection(Matrix4& out) const = 0;
    /// From world coordinates to those of the camera. Returns `out`.
    Matrix4& GetView(Matrix4& out) const;

    /// Along the axes of the world.
    void Move(const Vector3& delta);
    /// Along the axes of the camera as it is turned now.
    void MoveLocal(const Vector3& delta);
    /// Radians. Pitch turns about y and stays a fifth of a radian short of straight up and down; yaw turns about z and
    /// has no limit.
    void Rotate(float pitch, float yaw);

    float GetPitch() const { return mPitch; }
    float GetYaw() const { return mYaw; }
    const Vector3& GetPosition() const { return mPosition; }

protected:
    RenderCamera() = default;
    RenderCamera(const RenderCamera&) = default;
    RenderCamera& operator=(const RenderCamera&) = default;

private:
    float mPitch = 0.0f;
    float mYaw = 0.0f;
    Vector3 mPosition;
};

/// Parallel projection. For a surface whose y points down, top is 0 and bottom its height.
class OrthoRenderCamera : public RenderCamera
{
public:
    void Set(float left, float right, float top, float bottom, float nearPlane, float farPlane);
    Matrix4& GetProjection(Matrix4& out) const override;

private:
    float mLeft = 0.0f;
    float mRight = 1.0f;
    float mTop = 0.0f;
    float mBottom = 1.0f;
    float mNear = 0.1f;
    float mFar = 10000.0f;
};

class PerspRenderCamera : public RenderCamera
{
public:
    /// Width by height of the surface; the vertical field of view in radians.
    void Set(float aspect, float fieldOfView, float nearPlane, float farPlane);
    Matrix4& GetProjection(Matrix4& out) const override;

private:
    float mAspect = 1.0f;
    float mFieldOfView = 1.0471976f;
    float mNear = 0.1f;
    float mFar = 10000.0f;
};
}

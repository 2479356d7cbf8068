#include "Renderer/RenderCamera.h"

#include <gtest/gtest.h>

namespace
{
using namespace Renderer;

/// Where a point of the world lands after the division by w.
Vector3 Project(const RenderCamera& camera, const Vector3& point)
{
    Matrix4 view;
    Matrix4 projection;
    const std::array<float, 4> clip =
        camera.GetProjection(projection) * (camera.GetView(view) * std::array{point.mX, point.mY, point.mZ, 1.0f});
    return {clip[0] / clip[3], clip[1] / clip[3], clip[2] / clip[3]};
}

void ExpectNear(const Vector3& actual, const Vector3& expected)
{
    EXPECT_NEAR(actual.mX, expected.mX, 1e-5f);
    EXPECT_NEAR(actual.mY, expected.mY, 1e-5f);
    EXPECT_NEAR(actual.mZ, expected.mZ, 1e-5f);
}

TEST(RenderCameraTest, ACameraAtRestLeavesTheWorldAlone)
{
    Matrix4 view;
    const OrthoRenderCamera camera;
    EXPECT_EQ(&camera.GetView(view), &view);
    EXPECT_EQ(view, gIdentityMatrix);
}

TEST(RenderCameraTest, LayerAndPixelsReachTheCornersOfClipSpace)
{
    OrthoRenderCamera camera;
    camera.Set(0, 640, 0, 480, 0, 1000);
    ExpectNear(Project(camera, {0, 0, 0}), {-1, 1, -1});
    ExpectNear(Project(camera, {1000, 640, 480}), {1, -1, 1});
    ExpectNear(Project(camera, {500, 320, 120}), {0, 0.5f, 0});
    // A lower layer is nearer to the eye, so it covers a higher one.
    EXPECT_LT(Project(camera, {101, 0, 0}).mZ, Project(camera, {102, 0, 0}).mZ);
}

TEST(RenderCameraTest, PerspectivePlacesPlanesAndFieldOfView)
{
    PerspRenderCamera camera;
    camera.Set(2.0f, 1.5707963f, 1.0f, 100.0f);
    ExpectNear(Project(camera, {1, 0, 0}), {0, 0, -1});
    ExpectNear(Project(camera, {100, 0, 0}), {0, 0, 1});
    ExpectNear(Project(camera, {10, 20, 10}), {1, 1, Project(camera, {10, 0, 0}).mZ});
}

TEST(RenderCameraTest, ViewUndoesTheMoves)
{
    OrthoRenderCamera camera;
    camera.Rotate(0.3f, 1.1f);
    camera.Move({5, -3, 2});
    const Vector3 start = camera.GetPosition();
    camera.MoveLocal({7, 0, 0});
    Matrix4 view;
    camera.GetView(view);
    // The place it came from now lies seven units behind it, on the axis along which it looks.
    const std::array<float, 4> behind = view * std::array{start.mX, start.mY, start.mZ, 1.0f};
    ExpectNear({behind[0], behind[1], behind[2]}, {-7, 0, 0});
}

TEST(RenderCameraTest, PitchIsLimitedAndYawIsNot)
{
    OrthoRenderCamera camera;
    camera.Rotate(5.0f, 50.0f);
    EXPECT_FLOAT_EQ(camera.GetPitch(), 1.3707963f);
    EXPECT_FLOAT_EQ(camera.GetYaw(), 50.0f);
    camera.Rotate(-9.0f, 0.0f);
    EXPECT_FLOAT_EQ(camera.GetPitch(), -1.3707963f);
}
}

#include "Renderer/EmbeddedResources.h"
#include "Renderer/Material.h"
#include "Renderer/PrimitiveList.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"

#include "Utility/Trace.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/OffscreenGL.h"

#include <GL/glew.h>

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <optional>

namespace
{
using namespace Renderer;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr Colour gWhite{1, 1, 1, 1};
constexpr Colour gRed{1, 0, 0, 1};

class RenderContextGuiTest : public ::testing::Test
{
protected:
    RenderContextGuiTest()
    {
        Utility::gSetTraceSinks({{[](const char* line, void* context) {
                                      // Without the time.
                                      static_cast<std::vector<std::string>*>(context)->emplace_back(line + 12);
                                  },
            &mLines}});
    }
    ~RenderContextGuiTest() override { Utility::gSetTraceSinks(mSinksBefore); }

    void SetUp() override { ASSERT_TRUE(mFirst->MakeCurrent() && mContext.Initialise()); }

    std::unique_ptr<PrimitiveRenderer> MakeRenderer()
    {
        auto renderer = std::make_unique<PrimitiveRenderer>(mContext, 1.0f);
        renderer->SetViewportSize(64, 64);
        return renderer;
    }

    /// Paints a frame with a red square in the middle, as a widget does.
    void Paint(PrimitiveRenderer& renderer)
    {
        mContext.DeletePendingVertexArrays();
        mContext.BeginFrame();
        mContext.Clear(gWhite);
        renderer.BeginList(mList, {0, 0, 64, 64}, {0, 0});
        mList.FillRect({16, 16}, {48, 48}, gRed, 5);
        mVertexArray = renderer.GetDrawOrder().front()->mBuffers.front().mVertexArray.Get().mNames;
        renderer.Flush();
        mContext.EndFrame();
    }

    static bool sHasSquare(const Tests::OffscreenGL& gl)
    {
        const QImage image = gl.Read();
        return image.pixelColor(32, 32) == QColor(255, 0, 0) && image.pixelColor(8, 8) == QColor(255, 255, 255);
    }

    std::unique_ptr<Tests::OffscreenGL> mFirst = std::make_unique<Tests::OffscreenGL>(64, 64);
    RenderContext mContext;
    PrimitiveList mList{100};
    /// Of the square, as they were before it was drawn.
    std::unordered_map<GLContextHandle, std::uint32_t> mVertexArray;
    std::vector<std::string> mLines;
    const std::vector<Utility::TraceSink> mSinksBefore = Utility::gGetTraceSinks();
};

TEST_F(RenderContextGuiTest, InitialisesOnceAndReadsTheVersion)
{
    EXPECT_TRUE(mContext.IsVersionAtLeast(3, 3));
    EXPECT_FALSE(mContext.IsVersionAtLeast(9, 0));
    std::vector<std::string> expected{"Successfully compiled shader 'Renderer/Shaders/fontrender.compute'\n",
        "Successfully linked shader program for compute shader 'Renderer/Shaders/fontrender.compute'\n",
        "Successfully compiled shader 'Renderer/Shaders/Default_vs.cg'\n",
        "Successfully compiled shader 'Renderer/Shaders/Default_ps.cg'\n",
        "Successfully linked shader program for vertex shader 'Renderer/Shaders/Default_vs.cg' and fragment shader "
        "'Renderer/Shaders/Default_ps.cg'\n"};
    if (!mContext.IsVersionAtLeast(4, 3))
    {
        expected.erase(expected.begin());
        expected.front() = "OpenGL version not high enough to use GPU font rendering; falling back to CPU rendering\n";
    }
    EXPECT_EQ(mLines, expected);
    EXPECT_TRUE(mContext.Initialise());
    EXPECT_EQ(mLines.size(), expected.size());
    const Tests::OffscreenGL stranger(8, 8);
    EXPECT_FALSE(mContext.Initialise()) << "it shares nothing with the first context";
    ASSERT_TRUE(mFirst->MakeCurrent());
}

TEST_F(RenderContextGuiTest, EveryShaderCompilesAndLinks)
{
    const auto compile = [this](const std::string& name, EShaderStage stage) {
        std::string error;
        Shader* const shader = mContext.GetShaders().CreateShader(
            EmbeddedResources::sGet().FindResource("Renderer/Shaders/" + name), stage, mContext, error);
        EXPECT_NE(shader, nullptr) << name << ": " << error;
        return shader;
    };
    std::string error;
    for (const std::string name : {"Bar", "Default", "DashedLine", "HatchPattern", "LineShadow", "font"})
    {
        const Shader* const vertex = compile(name + "_vs.cg", EShaderStage::Vertex);
        const Shader* const fragment = compile(name + "_ps.cg", EShaderStage::Fragment);
        ASSERT_TRUE(vertex != nullptr && fragment != nullptr);
        const ShaderProgram* const program = mContext.GetShaders().CreateProgram(*vertex, *fragment, error);
        ASSERT_NE(program, nullptr) << name << ": " << error;
        for (const char* uniform : {"inModel", "inView", "inProjection"})
        {
            EXPECT_NE(program->FindUniform(uniform), nullptr) << name << ": " << uniform;
        }
    }
    if (mContext.IsVersionAtLeast(4, 3))
    {
        const Shader* const compute = compile("fontrender.compute", EShaderStage::Compute);
        ASSERT_NE(compute, nullptr);
        const ShaderProgram* const program = mContext.GetShaders().CreateProgram(*compute, error);
        ASSERT_NE(program, nullptr) << error;
        // What stands in its blocks has no location.
        EXPECT_THAT(program->mUniforms, ::testing::SizeIs(::testing::Le(1u)));
        EXPECT_EQ(mLines.back(),
            "Successfully linked shader program for compute shader 'Renderer/Shaders/fontrender.compute'\n");
    }
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(RenderContextGuiTest, FailuresAreOneLineAndAMessageForTheCaller)
{
    ShaderManager& shaders = mContext.GetShaders();
    mLines.clear();
    std::string error;
    EXPECT_EQ(shaders.CreateShader({"Some/Missing.cg"}, EShaderStage::Vertex, mContext, error), nullptr);
    EXPECT_EQ(error, "Attempt to init shader from invalid resource");
    // Without a version it is what the oldest one calls valid.
    EXPECT_NE(shaders.CreateShader({"Old", "attribute vec3 a;\nvoid main() { gl_Position = vec4(a, 1.0); }\n", 0},
                  EShaderStage::Vertex, mContext, error),
        nullptr)
        << error;
    mLines.erase(mLines.begin() + 1);
    const EmbeddedResource broken{"Some/Broken.cg", "#version 140\nvoid main() { nonsense(); }\n", 0};
    EXPECT_EQ(shaders.CreateShader(broken, EShaderStage::Fragment, mContext, error), nullptr);
    EXPECT_THAT(error, HasSubstr("nonsense"));
    ASSERT_EQ(mLines.size(), 2u);
    EXPECT_EQ(mLines[0], "Failed to compile shader 'Some/Missing.cg': Attempt to init shader from invalid resource\n");
    EXPECT_EQ(mLines[1], "Failed to compile shader 'Some/Broken.cg': " + error + "\n");

    const EmbeddedResource vertex{"V", "#version 140\nout vec4 a;\nvoid main() { a = vec4(1); gl_Position = a; }\n", 0};
    const EmbeddedResource fragment{"F", "#version 140\nin vec3 a;\nout vec4 c;\nvoid main() { c = a.xyzz; }\n", 0};
    const Shader* const first = shaders.CreateShader(vertex, EShaderStage::Vertex, mContext, error);
    const Shader* const second = shaders.CreateShader(fragment, EShaderStage::Fragment, mContext, error);
    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_EQ(shaders.CreateProgram(*first, *second, error), nullptr);
    EXPECT_EQ(
        mLines.back(), "Failed to link shader program for vertex shader 'V' and fragment shader 'F': " + error + "\n");

    // What should have been drawn with it is not there, and nothing else happens.
    EXPECT_EQ(mContext.GetProgram("Renderer/None", "Renderer/None"), nullptr);
    const std::size_t lineCount = mLines.size();
    EXPECT_EQ(mContext.GetProgram("Renderer/None", "Renderer/None"), nullptr);
    EXPECT_EQ(mLines.size(), lineCount);
    const std::unique_ptr<PrimitiveRenderer> renderer = MakeRenderer();
    renderer->BeginList(mList, {0, 0, 64, 64}, {0, 0});
    Material& blank = mContext.CreateMaterial(nullptr);
    blank.SetFloat(1, "inDensity");
    gAppendQuad(renderer->GetBatch(blank, 1, gColouredVertices, 4), 1, gMakeRectangle({0, 0}, {64, 64}), gRed);
    mContext.Clear(gWhite);
    renderer->Flush();
    EXPECT_EQ(mFirst->Read().pixelColor(32, 32), QColor(255, 255, 255));
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(RenderContextGuiTest, UniformsAreFoundByTheirBareNameUnlessNothingUsesThem)
{
    std::string error;
    const EmbeddedResource vertex{
        "V", "#version 140\nin vec3 inVertexPos;\nvoid main() { gl_Position = vec4(inVertexPos, 1); }\n", 0};
    const EmbeddedResource fragment{"F",
        "#version 140\nuniform vec4 weights[2];\nuniform vec3 tint;\nuniform float unused;\nout vec4 c;\n"
        "void main() { c = weights[0] + weights[1] + vec4(tint, 1); }\n",
        0};
    ShaderManager& shaders = mContext.GetShaders();
    const Shader* const first = shaders.CreateShader(vertex, EShaderStage::Vertex, mContext, error);
    const Shader* const second = shaders.CreateShader(fragment, EShaderStage::Fragment, mContext, error);
    ASSERT_TRUE(first != nullptr && second != nullptr) << error;
    const ShaderProgram* const program = shaders.CreateProgram(*first, *second, error);
    ASSERT_NE(program, nullptr) << error;
    EXPECT_EQ(program->FindUniform("unused"), nullptr);
    EXPECT_EQ(program->FindUniform("weights[0]"), nullptr);
    ASSERT_EQ(program->mAttributes.size(), 1u);
    EXPECT_EQ(program->mAttributes[0].mName, "inVertexPos");

    Material material(program);
    material.SetVector4({0.25f, 0.5f, 0, 0}, "weights");
    material.SetVector3({1, 2, 3}, "tint");
    material.SetFloat(1, "unused");
    material.Apply();
    std::array<float, 4> value{};
    glGetUniformfv(program->mHandle, program->FindUniform("weights")->mLocation, value.data());
    EXPECT_THAT(value, ElementsAre(0.25f, 0.5f, 0, 0));
    glGetUniformfv(program->mHandle, program->FindUniform("tint")->mLocation, value.data());
    EXPECT_THAT(value, ElementsAre(1, 2, 3, 0));
    material.Unapply();
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(RenderContextGuiTest, AMaterialSetsAllThreeStates)
{
    Material& material = mContext.CreateMaterial(mContext.GetDefaultProgram());
    for (int states = 0; states < 8; ++states)
    {
        material.mBlend = (states & 1) != 0;
        material.mAlphaTest = (states & 2) != 0;
        material.mDepthTest = (states & 4) != 0;
        for (const GLenum state : {GL_BLEND, GL_ALPHA_TEST, GL_DEPTH_TEST})
        {
            // As somebody else left it.
            (states & 1) != 0 ? glDisable(state) : glEnable(state);
        }
        material.Apply();
        EXPECT_EQ(glIsEnabled(GL_BLEND) == GL_TRUE, material.mBlend);
        EXPECT_EQ(glIsEnabled(GL_ALPHA_TEST) == GL_TRUE, material.mAlphaTest);
        EXPECT_EQ(glIsEnabled(GL_DEPTH_TEST) == GL_TRUE, material.mDepthTest);
        material.Unapply();
        EXPECT_FALSE(glIsEnabled(GL_BLEND) || glIsEnabled(GL_ALPHA_TEST) || glIsEnabled(GL_DEPTH_TEST));
    }
}

TEST_F(RenderContextGuiTest, TexturesKeepWhatIsSetInEveryFormat)
{
    for (const ETextureFormat format :
        {ETextureFormat::R16UI, ETextureFormat::R8, ETextureFormat::RGB8, ETextureFormat::RGBA8})
    {
        // Rows of an odd number of bytes.
        Texture& texture = mContext.CreateTexture(5, 3, format);
        const std::size_t texelSize = texture.GetBytesPerTexel();
        std::vector<std::byte> expected(15 * texelSize);
        for (std::size_t i = 0; i < expected.size(); ++i)
        {
            expected[i] = static_cast<std::byte>(i * 7 + 1);
        }
        texture.SetImage(expected);
        const std::vector<std::byte> patch(2 * texelSize, std::byte{0xAB});
        texture.SetSubImage(patch, 3, 1, 1, 2);
        std::copy_n(patch.begin(), texelSize, expected.begin() + static_cast<std::ptrdiff_t>(8 * texelSize));
        std::copy_n(patch.begin(), texelSize, expected.begin() + static_cast<std::ptrdiff_t>(13 * texelSize));
        std::vector<std::byte> actual(expected.size());
        texture.GetImage(actual);
        EXPECT_EQ(actual, expected) << static_cast<int>(format);
    }
    const Sampler sampler = mContext.CreateSampler(mContext.CreateTexture(4, 4), {true, false, {}});
    GLint value = 0;
    glGetSamplerParameteriv(sampler.mHandle, GL_TEXTURE_MAG_FILTER, &value);
    EXPECT_EQ(value, GL_NEAREST);
    glGetSamplerParameteriv(sampler.mHandle, GL_TEXTURE_WRAP_T, &value);
    EXPECT_EQ(value, GL_CLAMP_TO_BORDER);
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(RenderContextGuiTest, TwoContextsDrawOneGeometryWithVertexArraysOfTheirOwn)
{
    Tests::OffscreenGL second(64, 64, mFirst.get());
    ASSERT_TRUE(second.MakeCurrent() && mContext.Initialise());
    std::unique_ptr<PrimitiveRenderer> renderer = MakeRenderer();
    for (int frame = 0; frame < 2; ++frame)
    {
        ASSERT_TRUE(second.MakeCurrent());
        Paint(*renderer);
        EXPECT_TRUE(sHasSquare(second));
        ASSERT_TRUE(mFirst->MakeCurrent());
        Paint(*renderer);
        EXPECT_TRUE(sHasSquare(*mFirst));
    }
    ASSERT_EQ(mVertexArray.size(), 2u) << "from the second frame on both had their own";
    const std::uint32_t firstName = mVertexArray.at(gGetCurrentGLContext());
    ASSERT_TRUE(second.MakeCurrent());
    const std::uint32_t secondName = mVertexArray.at(gGetCurrentGLContext());

    // Released while the second context is current, each goes when its own context asks for it and no earlier.
    renderer.reset();
    EXPECT_TRUE(glIsVertexArray(secondName));
    mContext.DeletePendingVertexArrays();
    EXPECT_FALSE(glIsVertexArray(secondName));
    ASSERT_TRUE(mFirst->MakeCurrent());
    EXPECT_TRUE(glIsVertexArray(firstName));
    mContext.DeletePendingVertexArrays();
    EXPECT_FALSE(glIsVertexArray(firstName));
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(RenderContextGuiTest, AContextThatEndsTakesItsNamesAlongAndLeavesTheOthersDrawing)
{
    auto second = std::make_unique<Tests::OffscreenGL>(64, 64, mFirst.get());
    const GLContextHandle secondHandle = gGetCurrentGLContext();
    const std::unique_ptr<PrimitiveRenderer> renderer = MakeRenderer();
    Paint(*renderer);
    ASSERT_TRUE(mFirst->MakeCurrent());
    Paint(*renderer);
    EXPECT_TRUE(mVertexArray.contains(secondHandle));
    second.reset();
    ASSERT_TRUE(mFirst->MakeCurrent());
    Paint(*renderer);
    EXPECT_FALSE(mVertexArray.contains(secondHandle));
    EXPECT_TRUE(sHasSquare(*mFirst));
    EXPECT_TRUE(mContext.IsInitialised());
}

TEST_F(RenderContextGuiTest, AfterTheLastContextEverythingIsBlankUntilTheNextInitialise)
{
    // The first context, which initialised, ends before the one that is never drawn with.
    const std::unique_ptr<PrimitiveRenderer> before = MakeRenderer();
    Paint(*before);
    auto second = std::make_unique<Tests::OffscreenGL>(64, 64, mFirst.get());
    mFirst.reset();
    EXPECT_TRUE(mContext.IsInitialised());
    second.reset();
    EXPECT_FALSE(mContext.IsInitialised());

    Tests::OffscreenGL next(64, 64);
    ASSERT_TRUE(next.MakeCurrent());
    Paint(*before);
    EXPECT_FALSE(sHasSquare(next));
    ASSERT_TRUE(mContext.Initialise());
    mContext.Clear(gWhite);
    Paint(*before);
    EXPECT_FALSE(sHasSquare(next)) << "its programs are gone";
    const std::unique_ptr<PrimitiveRenderer> after = MakeRenderer();
    Paint(*after);
    EXPECT_TRUE(sHasSquare(next));
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(RenderContextGuiTest, NothingOfItIsLeftInTheContextAfterwards)
{
    const auto countObjects = [] {
        std::map<std::string, int> counts;
        for (GLuint name = 1; name < 1000; ++name)
        {
            counts["buffers"] += glIsBuffer(name);
            counts["vertex arrays"] += glIsVertexArray(name);
            counts["samplers"] += glIsSampler(name);
            counts["shaders"] += glIsShader(name);
            counts["programs"] += glIsProgram(name);
            counts["textures"] += glIsTexture(name);
        }
        return counts;
    };
    const std::map<std::string, int> before = countObjects();
    {
        RenderContext context;
        ASSERT_TRUE(context.Initialise());
        PrimitiveRenderer renderer(context, 1.0f);
        renderer.SetViewportSize(64, 64);
        PrimitiveList list(100);
        renderer.BeginList(list, {0, 0, 64, 64}, {});
        list.FillRect({0, 0}, {9, 9}, gRed, 1);
        list.DrawDashedLine({0, 0}, {9, 9}, 2, 3, 0, gRed, 1);
        list.DrawShadowLine({0, 0}, {9, 9}, 2, gRed, 1);
        list.DrawText({0, 0}, 12, gRed, "text", 1);
        renderer.Flush();
        static_cast<void>(context.CreateSampler(context.CreateTexture(8, 8), {}));
        EXPECT_NE(countObjects(), before);
    }
    EXPECT_EQ(countObjects(), before);
}

TEST_F(RenderContextGuiTest, ASteadyFrameAllocatesNothing)
{
    const std::unique_ptr<PrimitiveRenderer> renderer = MakeRenderer();
    const auto drawFrame = [this, &renderer] {
        mContext.DeletePendingVertexArrays();
        mContext.BeginFrame();
        mContext.Clear(gWhite);
        renderer->BeginList(mList, {0, 0, 64, 64}, {0, 0});
        for (int i = 0; i < 100; ++i)
        {
            mList.FillRect({16, 16}, {48, 48}, gRed, 5);
        }
        mList.DrawShadowRect({0, 0}, {60, 60}, 8, gRed, 3);
        mList.DrawDashedLine({0, 0}, {60, 60}, 2, 5, 0, gRed, 3);
        renderer->FillHatchedRect({0, 0}, {5, 5}, gRed, 2);
        mList.DrawText({0, 0}, 12, gRed, "11.25 ms", 1);
        renderer->Flush();
        mContext.EndFrame();
    };
    for (int frame = 0; frame < 3; ++frame)
    {
        drawFrame();
    }
    const std::uint64_t before = Tests::gCountAllocations();
    drawFrame();
    EXPECT_EQ(Tests::gCountAllocations(), before);
}
}

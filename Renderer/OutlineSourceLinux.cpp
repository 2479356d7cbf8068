#include "Renderer/CubicToConics.h"
#include "Renderer/OutlineSource.h"

#include "Utility/Trace.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <array>
#include <cmath>
#include <string>

namespace Renderer
{
namespace
{
template <auto Function>
struct CallWith
{
    template <class T>
    void operator()(T* object) const
    {
        Function(object);
    }
};
using Pattern = std::unique_ptr<FcPattern, CallWith<&FcPatternDestroy>>;
using Library = std::unique_ptr<FT_LibraryRec_, CallWith<&FT_Done_FreeType>>;
using Face = std::unique_ptr<FT_FaceRec_, CallWith<&FT_Done_Face>>;

/// The box that stands for a blank, whose own has no extent.
constexpr OutlinePoint cBlankSize{1.0f, 1.0f};

/// Receives the curves of an outline in the face's design units, of which each is 64.
class ContourBuilder
{
public:
    /// The fraction bits of the coordinates, so that halfway points between design units are exact.
    static constexpr int cShift = 6;

    ContourBuilder(float scale, std::vector<OutlineContour>& contours)
        : mScale{scale / static_cast<float>(1 << cShift)},
          mContours{contours}
    {}

    bool Read(FT_Outline& outline)
    {
        FT_Outline_Funcs functions{};
        functions.move_to = [](const FT_Vector* to, void* self) {
            return sGet(self).MoveTo(*to);
        };
        functions.line_to = [](const FT_Vector* to, void* self) {
            return sGet(self).LineTo(*to);
        };
        functions.conic_to = [](const FT_Vector* control, const FT_Vector* to, void* self) {
            return sGet(self).ConicTo(*control, *to);
        };
        functions.cubic_to = [](const FT_Vector* control1, const FT_Vector* control2, const FT_Vector* to, void* self) {
            return sGet(self).CubicTo(*control1, *control2, *to);
        };
        functions.shift = cShift;
        return FT_Outline_Decompose(&outline, &functions, this) == 0;
    }

private:
    static ContourBuilder& sGet(void* self) { return *static_cast<ContourBuilder*>(self); }

    OutlinePoint ToUnits(const FT_Vector& vector) const
    {
        return {static_cast<float>(vector.x) * mScale, static_cast<float>(vector.y) * mScale};
    }

    int MoveTo(const FT_Vector& to)
    {
        mPen = ToUnits(to);
        mContours.push_back({mPen, {}});
        return 0;
    }

    int LineTo(const FT_Vector& to)
    {
        mPen = ToUnits(to);
        std::vector<OutlineContour::Run>& runs = mContours.back().mRuns;
        if (runs.empty() || runs.back().mIsSpline)
        {
            runs.emplace_back();
        }
        runs.back().mPoints.push_back(mPen);
        return 0;
    }

    int ConicTo(const FT_Vector& control, const FT_Vector& to)
    {
        AddConic(ToUnits(control), ToUnits(to));
        return 0;
    }

    int CubicTo(const FT_Vector& control1, const FT_Vector& control2, const FT_Vector& to)
    {
        constexpr float cTolerance = 1.0f / 64.0f;
        std::vector<std::array<OutlinePoint, 2>> conics;
        gAppendConics({mPen, ToUnits(control1), ToUnits(control2), ToUnits(to)}, cTolerance, conics);
        for (const auto& [control, end] : conics)
        {
            AddConic(control, end);
        }
        return 0;
    }

    void AddConic(OutlinePoint control, OutlinePoint end)
    {
        mContours.back().mRuns.push_back({true, {control, end}});
        mPen = end;
    }

    float mScale;
    std::vector<OutlineContour>& mContours;
    OutlinePoint mPen;
};

class FreeTypeSource final : public OutlineSource
{
public:
    FreeTypeSource(Library library, Face face)
        : mLibrary{std::move(library)},
          mFace{std::move(face)},
          mScale{cReferenceHeight / static_cast<float>(mFace->ascender - mFace->descender)}
    {}

    float GetAscent() const override { return std::round(static_cast<float>(mFace->ascender) * mScale); }
    float GetDescent() const override { return cReferenceHeight - GetAscent(); }

    bool ReadGlyph(std::uint32_t codePoint, GlyphDescription& glyph) override
    {
        // Glyph 0 is the one for what the face lacks.
        const FT_UInt index = FT_Get_Char_Index(mFace.get(), codePoint);
        if (FT_Load_Glyph(mFace.get(), index, FT_LOAD_NO_SCALE) != 0 || mFace->glyph->format != FT_GLYPH_FORMAT_OUTLINE)
        {
            return false;
        }
        glyph.mAdvance = std::round(static_cast<float>(mFace->glyph->metrics.horiAdvance) * mScale);
        glyph.mBlankSize = cBlankSize;
        return ContourBuilder{mScale, glyph.mContours}.Read(mFace->glyph->outline);
    }

private:
    Library mLibrary; ///< ends after the face
    Face mFace;
    /// Font units to a design unit of the face.
    float mScale;
};

/// Stands in where no typeface can be had.
class NoFace final : public OutlineSource
{
public:
    float GetAscent() const override { return 0.8f * cReferenceHeight; }
    float GetDescent() const override { return 0.2f * cReferenceHeight; }
    bool ReadGlyph(std::uint32_t, GlyphDescription&) override { return false; }
};

struct FaceFile
{
    std::string mPath;
    int mIndex = 0;
};

/// Outlines only: faces of pictures have none to give.
FaceFile FindFaceFile(const FaceRequest& request)
{
    const Pattern pattern{FcPatternCreate()};
    FcPatternAddString(pattern.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>(request.mName.c_str()));
    FcPatternAddInteger(pattern.get(), FC_WEIGHT, FcWeightFromOpenType(request.mWeight));
    FcPatternAddInteger(pattern.get(), FC_SLANT, request.mIsItalic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcPatternAddBool(pattern.get(), FC_OUTLINE, FcTrue);
    FcPatternAddBool(pattern.get(), FC_SCALABLE, FcTrue);
    FcPatternAddBool(pattern.get(), FC_COLOR, FcFalse);
    FcConfigSubstitute(nullptr, pattern.get(), FcMatchPattern);
    FcDefaultSubstitute(pattern.get());

    FcResult result = FcResultNoMatch;
    const Pattern match{FcFontMatch(nullptr, pattern.get(), &result)};
    FcChar8* path = nullptr;
    FaceFile file;
    if (match != nullptr && FcPatternGetString(match.get(), FC_FILE, 0, &path) == FcResultMatch)
    {
        file.mPath = reinterpret_cast<const char*>(path);
        FcPatternGetInteger(match.get(), FC_INDEX, 0, &file.mIndex);
    }
    return file;
}

std::unique_ptr<OutlineSource> OpenFaceFile(const FaceFile& file)
{
    FT_Library library = nullptr;
    if (file.mPath.empty() || FT_Init_FreeType(&library) != 0)
    {
        return nullptr;
    }
    Library ownedLibrary{library};
    FT_Face face = nullptr;
    if (FT_New_Face(library, file.mPath.c_str(), file.mIndex, &face) != 0)
    {
        return nullptr;
    }
    Face ownedFace{face};
    if (!FT_IS_SCALABLE(face) || face->ascender <= face->descender)
    {
        return nullptr;
    }
    return std::make_unique<FreeTypeSource>(std::move(ownedLibrary), std::move(ownedFace));
}
}

std::unique_ptr<OutlineSource> gOpenFace(const FaceRequest& request)
{
    FaceRequest fallback = request;
    fallback.mName = "DejaVu Sans";
    for (const FaceRequest& candidate : {request, fallback})
    {
        if (std::unique_ptr<OutlineSource> source = OpenFaceFile(FindFaceFile(candidate)))
        {
            return source;
        }
    }
    Utility::gTrace("No typeface could be opened for '%s': text is not drawn", request.mName.c_str());
    return std::make_unique<NoFace>();
}
}

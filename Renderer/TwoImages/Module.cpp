#include "Renderer/TwoImages/Frame.h"

extern "C" [[gnu::visibility("default")]] TwoImages::Operations getTwoImagesOperations()
{
    return TwoImages::gGetOperations();
}

#pragma once

namespace Quarkspindle
{

/// Tells screen readers what the widgets that draw themselves are. Once, with an application object.
void gInstallAccessibility();

}

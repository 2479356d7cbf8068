#pragma once

namespace System
{

enum class EStandardStream
{
    Output,
    Error,
};

/// Whether a person may be looking at the stream.
bool gIsTerminal(EStandardStream stream);

/// Columns of the terminal behind a stream; else what the variable COLUMNS says; else 80. Never below 20.
int gGetTerminalWidth(EStandardStream stream);

}

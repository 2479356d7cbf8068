#include "SymbolResolverWorker/Disassembler.h"

#include <capstone/capstone.h>

#include "Serialization/Error.h"
#include "SymbolResolverWorker/JobControl.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

struct Machine
{
    cs_arch mArchitecture;
    cs_mode mMode;
};

constexpr Machine GetMachine(EArchitecture architecture)
{
    switch (architecture)
    {
    case EArchitecture::X86:
        return {CS_ARCH_X86, CS_MODE_32};
    case EArchitecture::Arm:
        return {CS_ARCH_ARM, CS_MODE_ARM};
    case EArchitecture::Arm64:
        return {CS_ARCH_ARM64, CS_MODE_ARM};
    case EArchitecture::X64:
    case EArchitecture::Unknown:
        break;
    }
    return {CS_ARCH_X86, CS_MODE_64};
}

/// The library's handle, and the one instruction that it writes to again and again.
class Engine
{
public:
    explicit Engine(EArchitecture architecture) : mArchitecture{architecture}
    {
        const Machine machine = GetMachine(architecture);
        mError = cs_open(machine.mArchitecture, machine.mMode, &mHandle);
        if (mError != CS_ERR_OK)
            return;
        // Details say which instructions call.
        cs_option(mHandle, CS_OPT_DETAIL, CS_OPT_ON);
        cs_option(mHandle, CS_OPT_SKIPDATA, CS_OPT_ON);
        mInstruction = cs_malloc(mHandle);
    }
    ~Engine()
    {
        if (mInstruction != nullptr)
            cs_free(mInstruction, 1);
        if (mHandle != 0)
            cs_close(&mHandle);
    }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    bool IsReady() const { return mInstruction != nullptr; }
    const char* GetError() const { return mError == CS_ERR_OK ? "not enough memory" : cs_strerror(mError); }

    /// The next instruction, null at the end; moves along in the code.
    const cs_insn* Next(const uint8_t*& code, std::size_t& size, uint64_t& address)
    {
        return cs_disasm_iter(mHandle, &code, &size, &address, mInstruction) ? mInstruction : nullptr;
    }

    bool IsCall(const cs_insn& instruction) const
    {
        // Bytes that are no instruction have the id 0, and no details.
        if (instruction.id == 0)
            return false;
        // The library has no such group for these processors.
        if (mArchitecture == EArchitecture::Arm64)
            return instruction.id == ARM64_INS_BL || instruction.id == ARM64_INS_BLR;
        if (mArchitecture == EArchitecture::Arm)
            return instruction.id == ARM_INS_BL || instruction.id == ARM_INS_BLX;
        return cs_insn_group(mHandle, &instruction, CS_GRP_CALL);
    }

private:
    const EArchitecture mArchitecture;
    csh mHandle = 0;
    cs_insn* mInstruction = nullptr;
    cs_err mError = CS_ERR_OK;
};

}

bool gDisassemble(EArchitecture architecture, std::span<const std::byte> code, uint64_t address,
    std::vector<Profiler::AsmInstruction>& instructions, const JobControl& control, Utility::Result& result)
{
    if (architecture == EArchitecture::Unknown)
        return result.Fail(Serialization::Incompatible, "The image is for a processor that is not known");
    Engine engine{architecture};
    if (!engine.IsReady())
        return result.Fail(Serialization::Unspecified, "The disassembler does not start: %s", engine.GetError());

    const auto* next = reinterpret_cast<const uint8_t*>(code.data());
    std::size_t rest = code.size();
    while (const cs_insn* instruction = rest == 0 ? nullptr : engine.Next(next, rest, address))
    {
        instructions.push_back({instruction->id, instruction->address, instruction->size, instruction->mnemonic,
            instruction->op_str, engine.IsCall(*instruction)});
        if (instructions.size() % 1024 == 0 && !control.MayGoOn(result))
            return false;
    }
    return true;
}

}

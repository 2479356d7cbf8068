#pragma once

#include <cstdint>

#include "Serialization/RTTI/TypeOf.h"

/// What this program and its symbol workers tell each other: one record in each message.
/// `docs/format/worker-messages.md` has the messages and their bytes.
namespace Profiler
{

/// What all jobs of a worker have.
struct RemoteJobBase : RTTI::Object
{
    int32_t JobHandle = -1; ///< given by the pool

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<RemoteJobBase>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<RemoteJobBase>("Profiler::RemoteJobBase", RTTI::Version{1}, RTTI::Base<RTTI::Object>{},
            RTTI::Field<&RemoteJobBase::JobHandle>{"JobHandle"});
    }
};

/// From the worker: a job has ended. Each job has exactly one, behind its result.
struct RemoteJobCompleted : RTTI::Object
{
    int32_t JobHandle = -1;
    bool Canceled = false;

    RemoteJobCompleted() = default;
    RemoteJobCompleted(int32_t jobHandle, bool canceled) : JobHandle{jobHandle}, Canceled{canceled} {}

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<RemoteJobCompleted>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<RemoteJobCompleted>("Profiler::RemoteJobCompleted", RTTI::Version{1},
            RTTI::Base<RTTI::Object>{}, RTTI::Field<&RemoteJobCompleted::JobHandle>{"JobHandle"},
            RTTI::Field<&RemoteJobCompleted::Canceled>{"Canceled"});
    }
};

/// To the worker: stop a job. It still answers with `RemoteJobCompleted`.
struct CancelRemoteJob : RTTI::Object
{
    int32_t JobHandle = -1;

    CancelRemoteJob() = default;
    explicit CancelRemoteJob(int32_t jobHandle) : JobHandle{jobHandle} {}

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<CancelRemoteJob>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<CancelRemoteJob>("Profiler::CancelRemoteJob", RTTI::Version{1},
            RTTI::Base<RTTI::Object>{}, RTTI::Field<&CancelRemoteJob::JobHandle>{"JobHandle"});
    }
};

}

#pragma once

#include <memory>

#include "Serialization/RTTI/TypeOf.h"
#include "Utility/Result.h"

namespace Profiler
{

class Plugin;
class Session;
struct TraceEvent;

/// The outcome of a model's operation. A model owns one and rewrites it with each operation.
struct ModelResult
{
    bool mSuccess = true;
    Utility::Result mErrors;

    void SetSuccess();
    void SetFailure();
};

/// What a plug-in derives from a session's events. The session owns its models and drives them on its event path:
/// `Reset`, `BeginEvents`, `ProcessEvent` for every event, `EndEvents`, `Save`. A returned result is valid until the
/// next call that returns one.
class Model : public RTTI::Object
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Model>(
            "Profiler::Model", RTTI::Version{1}, RTTI::Base<RTTI::Object>{}, RTTI::NoCreate{});
    }

public:
    Model(Plugin* plugin, Session* session);
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;
    ~Model() override;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Model>(); }

    virtual const ModelResult& ProcessEvent(const TraceEvent& event);
    virtual const ModelResult& BeginEvents();
    virtual void OnSessionPhaseA();
    virtual const ModelResult& EndEvents();
    virtual void OnSessionPhaseB();

    /// Deletes what is stored of the model. Called on a model that has just been created.
    virtual void Reset();

    /// Stores the model in the session's directory.
    virtual const ModelResult& Save();

    Plugin* GetPlugin() const { return mPlugin; }
    Session* GetSession() const { return mSession; }

protected:
    const ModelResult& SetSuccess();
    ModelResult& GetResult() { return *mResult; }

private:
    Plugin* mPlugin;
    Session* mSession;
    std::unique_ptr<ModelResult> mResult;
};

}

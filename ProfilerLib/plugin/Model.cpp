#include "ProfilerLib/plugin/Model.h"

namespace Profiler
{

void ModelResult::SetSuccess()
{
    mSuccess = true;
    mErrors.Clear();
}

void ModelResult::SetFailure()
{
    mSuccess = false;
    mErrors.Clear();
}

Model::Model(Plugin* plugin, Session* session)
    : mPlugin{plugin},
      mSession{session},
      mResult{std::make_unique<ModelResult>()}
{}

Model::~Model() = default;

const ModelResult& Model::SetSuccess()
{
    mResult->SetSuccess();
    return *mResult;
}

const ModelResult& Model::ProcessEvent(const TraceEvent&)
{
    return SetSuccess();
}

const ModelResult& Model::BeginEvents()
{
    return SetSuccess();
}

void Model::OnSessionPhaseA() {}

const ModelResult& Model::EndEvents()
{
    return SetSuccess();
}

void Model::OnSessionPhaseB() {}

void Model::Reset() {}

const ModelResult& Model::Save()
{
    return SetSuccess();
}

}

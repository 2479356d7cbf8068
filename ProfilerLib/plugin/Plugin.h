#pragma once

#include <memory>
#include <vector>

namespace RTTI
{
class TypeRegistry;
}

namespace Profiler
{

class MessageBus;
class Model;
class Session;
class View;
struct ViewContext;
struct ViewHost;

/// What a plug-in module gives its host: a factory of models and views. The one instance is a static object of the
/// module and is never deleted, so there is no virtual destructor. The bus and the registry belong to the host. All
/// operations are called on the thread that owns the session and the widgets.
class Plugin
{
public:
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    /// A new, empty model of the session.
    virtual std::unique_ptr<Model> CreateModel(Session& session) = 0;

    /// The model as the session's directory holds it, or null: then the caller makes a new one and replays the events.
    virtual std::unique_ptr<Model> LoadModel(Session& session) = 0;

    /// A view on a model that this plug-in made; null when it has none to give.
    virtual std::unique_ptr<View> CreateView(ViewHost& host, ViewContext& context, Model& model) = 0;

    MessageBus* GetMessageBus() const { return mMessageBus; }
    RTTI::TypeRegistry* GetTypeRegistry() const { return mTypeRegistry; }

protected:
    Plugin(MessageBus* bus, RTTI::TypeRegistry* registry) : mMessageBus{bus}, mTypeRegistry{registry} {}
    ~Plugin() = default;

private:
    MessageBus* mMessageBus;
    RTTI::TypeRegistry* mTypeRegistry;
};

/// The plug-ins of a host, in the order in which their models are made.
using PluginList = std::vector<Plugin*>;

}

#pragma once

#include <QObject>
#include <QtPlugin>

// Some other application's plug-in interface.
class OtherPluginInterface
{
public:
    virtual ~OtherPluginInterface() = default;
    virtual int answer() const = 0;
};

Q_DECLARE_INTERFACE(OtherPluginInterface, "com.Norvik.Test.OtherPluginInterface")

// A valid Qt plug-in that is no cloud plug-in.
class WrongInterfacePlugin : public QObject, public OtherPluginInterface
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.Norvik.Test.OtherPluginInterface")
    Q_INTERFACES(OtherPluginInterface)

public:
    int answer() const override { return 42; }
};

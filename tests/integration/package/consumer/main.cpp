// An application of the installed library: links it, reads its version and a descriptor.
#include <Library.h>
#include <info/CloudType.h>

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTextStream(stdout) << "norvik-cloud " << Norvik::Cloud::libraryVersion() << ' '
                        << Norvik::Cloud::TypeName.value(Norvik::Cloud::Type::FileSystem) << Qt::endl;
    return 0;
}

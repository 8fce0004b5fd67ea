#include "engine/JobFormat.h"

namespace Norvik::Cloud {

namespace JobFormat {
const QString Id = QStringLiteral("id");
const QString TaskId = QStringLiteral("task_id");
const QString Type = QStringLiteral("type");
namespace Result {
namespace Status {
const QString Key = QStringLiteral("status");
namespace Value {
const QString Success = QStringLiteral("Success");
const QString Error = QStringLiteral("Error");
} // namespace Value
} // namespace Status
const QString ResultData = QStringLiteral("result_data");
const QString ErrorCode = QStringLiteral("ErrorCode");
const QString ErrorMessage = QStringLiteral("ErrorMessage");
const QString CloudError = QStringLiteral("CloudError");
} // namespace Result
namespace BufferType {
const QString Key = QStringLiteral("BufferType");
namespace Value {
const QString Memory = QStringLiteral("Memory");
const QString File = QStringLiteral("File");
} // namespace Value
} // namespace BufferType
namespace CheckConfig {
const QString Type = QStringLiteral("CheckConfig");
} // namespace CheckConfig
namespace UploadOnce {
const QString Type = QStringLiteral("upload_once");
const QString BufferId = QStringLiteral("BufferId");
const QString BufferType = QStringLiteral("BufferType");
const QString MetaData = QStringLiteral("meta_data");
const QString Path = QStringLiteral("path");
} // namespace UploadOnce
namespace UploadEmptyFolder {
const QString Type = QStringLiteral("upload_empty_folder");
const QString Path = QStringLiteral("path");
} // namespace UploadEmptyFolder
namespace UploadMultipart {
const QString Path = QStringLiteral("path");
const QString UploadInfo = QStringLiteral("UploadInfo");
namespace Begin {
const QString Type = QStringLiteral("UploadMultipartBegin");
const QString MetaData = QStringLiteral("meta_data");
} // namespace Begin
namespace ListParts {
const QString Type = QStringLiteral("UploadMultipartListParts");
} // namespace ListParts
namespace Part {
const QString Type = QStringLiteral("UploadMultipartPart");
const QString BufferId = QStringLiteral("BufferId");
const QString PartId = QStringLiteral("PartId");
const QString UploadParts = QStringLiteral("UploadParts");
} // namespace Part
namespace End {
const QString Type = QStringLiteral("UploadMultipartEnd");
namespace Parts {
const QString Key = QStringLiteral("Parts");
namespace Value {
const QString Id = QStringLiteral("Id");
const QString Data = QStringLiteral("Data");
} // namespace Value
} // namespace Parts
} // namespace End
} // namespace UploadMultipart
namespace UploadAuto {
namespace Init {
const QString Type = QStringLiteral("Init");
} // namespace Init
} // namespace UploadAuto
namespace Download {
const QString CloudPath = QStringLiteral("CloudPath");
namespace ToStream {
const QString Type = QStringLiteral("Download2Stream");
const QString OutStreamId = QStringLiteral("OutStreamId");
} // namespace ToStream
namespace Blob {
const QString Type = QStringLiteral("DownloadBlob");
const QString Position = QStringLiteral("Position");
const QString Size = QStringLiteral("Size");
const QString MemoryId = QStringLiteral("memory_id");
} // namespace Blob
namespace Blob2Stream {
const QString Type = QStringLiteral("DownloadBlob2Stream");
const QString Position = QStringLiteral("Position");
const QString Size = QStringLiteral("Size");
const QString OutStreamId = QStringLiteral("OutStreamId");
} // namespace Blob2Stream
} // namespace Download
namespace ListContainers {
const QString Type = QStringLiteral("list_containers");
} // namespace ListContainers
namespace Listing {
const QString Type = QStringLiteral("listing");
const QString Marker = QStringLiteral("marker");
const QString Prefix = QStringLiteral("prefix");
const QString Delimiter = QStringLiteral("delimiter");
const QString MaxCount = QStringLiteral("max_count");
namespace Result {
const QString Marker = QStringLiteral("marker");
} // namespace Result
} // namespace Listing
namespace DeleteOnce {
const QString Type = QStringLiteral("delete_once");
const QString ObjectInfo = QStringLiteral("object_info");
} // namespace DeleteOnce
namespace MultipleDelete {
const QString Type = QStringLiteral("multiple_delete");
const QString ObjectInfoList = QStringLiteral("object_info_list");
} // namespace MultipleDelete
namespace CreateContainer {
const QString Type = QStringLiteral("create_container");
const QString Params = QStringLiteral("params");
} // namespace CreateContainer
namespace SignUrl {
const QString Type = QStringLiteral("sign_url");
const QString Path = QStringLiteral("path");
const QString UseSsl = QStringLiteral("use_ssl");
const QString Expires = QStringLiteral("expires");
} // namespace SignUrl
namespace StreamTransformation {
const QString Type = QStringLiteral("StreamTransformation");
} // namespace StreamTransformation
namespace Archive {
const QString Path = QStringLiteral("path");
namespace PrepareForDownload {
const QString Type = QStringLiteral("archive_PrepareForDownload");
const QString Options = QStringLiteral("options");
namespace Result {
namespace Status {
const QString Key = QStringLiteral("status");
namespace Value {
} // namespace Value
} // namespace Status
const QString Message = QStringLiteral("message");
} // namespace Result
} // namespace PrepareForDownload
namespace CheckReadyForDownload {
const QString Type = QStringLiteral("archive_CheckReadyForDownload");
namespace Result {
} // namespace Result
} // namespace CheckReadyForDownload
namespace FinalizeDownloaded {
const QString Type = QStringLiteral("archive_FinalizeDownloaded");
} // namespace FinalizeDownloaded
} // namespace Archive
namespace Amazon {
namespace LifecyclePolicy {
namespace Load {
const QString Type = QStringLiteral("Amazon_LifecyclePolicy_Load");
} // namespace Load
namespace Save {
const QString Type = QStringLiteral("Amazon_LifecyclePolicy_Save");
const QString Policy = QStringLiteral("Policy");
} // namespace Save
namespace Delete {
const QString Type = QStringLiteral("Amazon_LifecyclePolicy_Delete");
} // namespace Delete
} // namespace LifecyclePolicy
} // namespace Amazon
} // namespace JobFormat
namespace OperationType {
const QString Upload = QStringLiteral("Upload");
const QString UploadMultipart = QStringLiteral("UploadMultipart");
const QString UploadAuto = QStringLiteral("UploadAuto");
const QString UploadEmptyFolder = QStringLiteral("UploadEmptyFolder");
const QString CheckConfig = QStringLiteral("CheckConfig");
const QString Download2Stream = QStringLiteral("Download2Stream");
const QString DownloadBlob = QStringLiteral("DownloadBlob");
const QString DownloadBlob2Stream = QStringLiteral("DownloadBlob2Stream");
const QString DownloadAuto2Stream = QStringLiteral("DownloadAuto2Stream");
const QString Listing = QStringLiteral("Listing");
const QString ListContainers = QStringLiteral("ListContainers");
const QString CreateContainer = QStringLiteral("CreateContainer");
const QString DeleteOnce = QStringLiteral("DeleteOnce");
const QString MultipleDelete = QStringLiteral("MultipleDelete");
const QString SignUrl = QStringLiteral("SignUrl");
const QString StreamTransformation = QStringLiteral("StreamTransformation");
namespace Archive {
const QString PrepareForDownload = QStringLiteral("ArchivePrepareForDownload");
const QString CheckReadyForDownload = QStringLiteral("ArchiveCheckReadyForDownload");
const QString FinalizeDownloaded = QStringLiteral("ArchiveFinalizeDownloaded");
} // namespace Archive
namespace Amazon {
const QString LoadLifecyclePolicy = QStringLiteral("Amazon_LoadLifecyclePolicy");
const QString SaveLifecyclePolicy = QStringLiteral("Amazon_SaveLifecyclePolicy");
const QString DeleteLifecyclePolicy = QStringLiteral("Amazon_DeleteLifecyclePolicy");
} // namespace Amazon
} // namespace OperationType

} // namespace Norvik::Cloud

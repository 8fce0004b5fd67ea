#pragma once

#include <QString>

namespace Norvik::Cloud {

// Keys and values of the JSON records that pass between operations and job threads. A job
// is the operation's configuration map with "type", "id", the record's own keys and, added by
// the task thread, "task_id". A result is the job object itself with the keys of Result
// added, so that an operation finds its own fields (buffer ids, positions) in every result.
namespace JobFormat {
extern const QString Id;
extern const QString TaskId;
extern const QString Type;

// Added to the job object by the job thread. An operation treats anything but a "status"
// of exactly "Success" as a failure, including a document without "status".
namespace Result {
namespace Status {
extern const QString Key;

namespace Value {
extern const QString Success;
extern const QString Error;
} // namespace Value
} // namespace Status
extern const QString ResultData;
extern const QString ErrorCode;
extern const QString ErrorMessage;
extern const QString CloudError;
} // namespace Result

// Where the bytes of an object or a part wait while the job runs: a MemoryManager buffer
// or a TemporaryFileManager file, named by its id under "BufferId".
namespace BufferType {
extern const QString Key;

namespace Value {
extern const QString Memory;
extern const QString File;
} // namespace Value
} // namespace BufferType

namespace CheckConfig {
extern const QString Type;
} // namespace CheckConfig

namespace UploadOnce {
extern const QString Type;
extern const QString BufferId;
extern const QString BufferType;
extern const QString MetaData;
extern const QString Path;
} // namespace UploadOnce

namespace UploadEmptyFolder {
extern const QString Type;
extern const QString Path;
} // namespace UploadEmptyFolder

namespace UploadMultipart {
extern const QString Path;
extern const QString UploadInfo;

namespace Begin {
extern const QString Type;
extern const QString MetaData;
} // namespace Begin

namespace ListParts {
extern const QString Type;
} // namespace ListParts

namespace Part {
extern const QString Type;
extern const QString BufferId;
extern const QString PartId;
extern const QString UploadParts;
} // namespace Part

namespace End {
extern const QString Type;

// Elements of "Parts": the part number and what the service returned for the part.
namespace Parts {
extern const QString Key;

namespace Value {
extern const QString Id;
extern const QString Data;
} // namespace Value
} // namespace Parts
} // namespace End
} // namespace UploadMultipart

// Defined but never sent as a job.
namespace UploadAuto {
namespace Init {
extern const QString Type;
} // namespace Init
} // namespace UploadAuto

// Ranged downloads take the first offset and the count of bytes less one. The 64-bit values
// travel as JSON doubles and lose precision above 2^53.
namespace Download {
extern const QString CloudPath;

namespace ToStream {
extern const QString Type;
extern const QString OutStreamId;
} // namespace ToStream

namespace Blob {
extern const QString Type;
extern const QString Position;
extern const QString Size;
extern const QString MemoryId;
} // namespace Blob

namespace Blob2Stream {
extern const QString Type;
extern const QString Position;
extern const QString Size;
extern const QString OutStreamId;
} // namespace Blob2Stream
} // namespace Download

namespace ListContainers {
extern const QString Type;
} // namespace ListContainers

namespace Listing {
extern const QString Type;
extern const QString Marker;
extern const QString Prefix;
extern const QString Delimiter;
extern const QString MaxCount;

// The marker of the next page; the same text as the job's marker, which it overwrites.
namespace Result {
extern const QString Marker;
} // namespace Result
} // namespace Listing

namespace DeleteOnce {
extern const QString Type;
extern const QString ObjectInfo;
} // namespace DeleteOnce

namespace MultipleDelete {
extern const QString Type;
extern const QString ObjectInfoList;
} // namespace MultipleDelete

namespace CreateContainer {
extern const QString Type;
extern const QString Params;
} // namespace CreateContainer

namespace SignUrl {
extern const QString Type;
extern const QString Path;
extern const QString UseSsl;
extern const QString Expires;
} // namespace SignUrl

// Defined but never sent as a job: stream transformations run on the task thread.
namespace StreamTransformation {
extern const QString Type;
} // namespace StreamTransformation

namespace Archive {
extern const QString Path;

namespace PrepareForDownload {
extern const QString Type;
extern const QString Options;

// Under "result_data"; the outer "status" stays "Success" whatever this status says.
namespace Result {
namespace Status {
extern const QString Key;

namespace Value {
inline constexpr int Success = 0;
inline constexpr int Failed = 1;
inline constexpr int AlreadyInProgress = 2;
} // namespace Value
} // namespace Status
extern const QString Message;
} // namespace Result
} // namespace PrepareForDownload

namespace CheckReadyForDownload {
extern const QString Type;

// The integer under "result_data".
namespace Result {
inline constexpr int Ready = 0;
inline constexpr int InProgress = 1;
} // namespace Result
} // namespace CheckReadyForDownload

namespace FinalizeDownloaded {
extern const QString Type;
} // namespace FinalizeDownloaded
} // namespace Archive

namespace Amazon {
namespace LifecyclePolicy {
namespace Load {
extern const QString Type;
} // namespace Load

namespace Save {
extern const QString Type;
extern const QString Policy;
} // namespace Save

namespace Delete {
extern const QString Type;
} // namespace Delete
} // namespace LifecyclePolicy
} // namespace Amazon
} // namespace JobFormat

// The value of IOperation::type(): what the client asked for. One operation may send jobs of
// several job types, which is why these names differ from the job types.
namespace OperationType {
extern const QString Upload;
extern const QString UploadMultipart;
extern const QString UploadAuto;
extern const QString UploadEmptyFolder;
extern const QString CheckConfig;
extern const QString Download2Stream;
extern const QString DownloadBlob;
extern const QString DownloadBlob2Stream;
extern const QString DownloadAuto2Stream;
extern const QString Listing;
extern const QString ListContainers;
extern const QString CreateContainer;
extern const QString DeleteOnce;
extern const QString MultipleDelete;
extern const QString SignUrl;
extern const QString StreamTransformation;

namespace Archive {
extern const QString PrepareForDownload;
extern const QString CheckReadyForDownload;
extern const QString FinalizeDownloaded;
} // namespace Archive

namespace Amazon {
extern const QString LoadLifecyclePolicy;
extern const QString SaveLifecyclePolicy;
extern const QString DeleteLifecyclePolicy;
} // namespace Amazon
} // namespace OperationType

} // namespace Norvik::Cloud

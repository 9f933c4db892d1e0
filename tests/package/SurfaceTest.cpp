// Names every public class, member and free function of the library, so that each must compile and link.
// If a name disappears or its signature changes, users notice it: change it here on purpose.
//
// Only the one test is run: taking the address of a member already requires its symbol.
#include "sigil/Base64.h"
#include "sigil/Digest.h"
#include "sigil/Export.h"
#include "sigil/HMAC.h"
#include "sigil/Hex.h"
#include "sigil/OpenSSLInit.h"
#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/Version.h"
#include "vexil/async/AsyncNetRequestManager.h"
#include "vexil/async/AsyncNetRequestThread.h"
#include "vexil/async/FunctionTransferJob.h"
#include "vexil/async/IAsyncNetRequestManager.h"
#include "vexil/async/ITransfer.h"
#include "vexil/async/ITransferJob.h"
#include "vexil/async/ITransferObserver.h"
#include "vexil/async/ITransferPolicy.h"
#include "vexil/async/PauseToken.h"
#include "vexil/async/TransferPolicy.h"
#include "vexil/async/TransferQueue.h"
#include "vexil/ftp/FTPClient.h"
#include "vexil/ftp/FTPDirEntry.h"
#include "vexil/ftp/FTPGetInfoResult.h"
#include "vexil/ftp/FTPListDirResult.h"
#include "vexil/mail/BodyEncoding.h"
#include "vexil/mail/MailAddress.h"
#include "vexil/mail/MimeMessage.h"
#include "vexil/mail/MultiPartMimeMessage.h"
#include "vexil/mail/SMTPClient.h"
#include "vexil/mail/SMTPParams.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/CancelToken.h"
#include "vexil/net/CurlHandles.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/net/FunctionDoneListener.h"
#include "vexil/net/FunctionProgress.h"
#include "vexil/net/FunctionRequestSetup.h"
#include "vexil/net/FunctionSink.h"
#include "vexil/net/GlobalInit.h"
#include "vexil/net/HTTPContentRange.h"
#include "vexil/net/HTTPServerHeader.h"
#include "vexil/net/HTTPStatusLine.h"
#include "vexil/net/HeaderAssembler.h"
#include "vexil/net/HeaderValues.h"
#include "vexil/net/ITransferMetrics.h"
#include "vexil/net/NetHeaders.h"
#include "vexil/net/NetReply.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestSetup.h"
#include "vexil/net/NetRequestTypes.h"
#include "vexil/net/NetStringList.h"
#include "vexil/net/RateLimit.h"
#include "vexil/net/RetryBudget.h"
#include "vexil/net/RetryPolicy.h"
#include "vexil/net/RootCertBundle.h"
#include "vexil/net/SendSource.h"
#include "vexil/net/ServerInfo.h"
#include "vexil/net/SharedConnections.h"
#include "vexil/net/TransferBuffers.h"
#include "vexil/net/TransferData.h"
#include "vexil/net/TransferMetrics.h"
#include "vexil/net/TransferTimings.h"
#include "vexil/net/TryLog.h"
#include "vexil/net/URLEncoding.h"
#include "vexil/net/URLRedaction.h"
#include "vexil/proxy/ProxyPattern.h"
#include "vexil/proxy/ProxyRules.h"
#include "vexil/proxy/ProxySettings.h"
#include "vexil/proxy/UserProxySource.h"
#include "vexil/s3/IS3TransferObserver.h"
#include "vexil/s3/S3BucketList.h"
#include "vexil/s3/S3Checksum.h"
#include "vexil/s3/S3CircleGuard.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3CopyObjectResult.h"
#include "vexil/s3/S3CopyOptions.h"
#include "vexil/s3/S3CopySource.h"
#include "vexil/s3/S3Credentials.h"
#include "vexil/s3/S3CredentialsProvider.h"
#include "vexil/s3/S3CustomerKey.h"
#include "vexil/s3/S3DeleteResult.h"
#include "vexil/s3/S3DownloadResult.h"
#include "vexil/s3/S3EnvironmentCredentials.h"
#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3ErrorResponse.h"
#include "vexil/s3/S3FixedCredentials.h"
#include "vexil/s3/S3GetOptions.h"
#include "vexil/s3/S3ListObjectsElement.h"
#include "vexil/s3/S3ListObjectsResult.h"
#include "vexil/s3/S3ListObjectsV2Result.h"
#include "vexil/s3/S3ListVersionsResult.h"
#include "vexil/s3/S3ListingEnum.h"
#include "vexil/s3/S3ListingPage.h"
#include "vexil/s3/S3ListingQuery.h"
#include "vexil/s3/S3Multipart.h"
#include "vexil/s3/S3ObjectEnum.h"
#include "vexil/s3/S3PartList.h"
#include "vexil/s3/S3PartOptions.h"
#include "vexil/s3/S3ProfileCredentials.h"
#include "vexil/s3/S3PutOptions.h"
#include "vexil/s3/S3RefreshedCredentials.h"
#include "vexil/s3/S3SigningDetour.h"
#include "vexil/s3/S3SigningError.h"
#include "vexil/s3/S3SigningOptions.h"
#include "vexil/s3/S3TransferManager.h"
#include "vexil/s3/S3TransferSettings.h"
#include "vexil/s3/S3UploadEnum.h"
#include "vexil/s3/S3UploadList.h"
#include "vexil/s3/S3UploadResult.h"
#include "vexil/s3/S3VersionEnum.h"
#include "zet/ASCII.h"
#include "zet/Base.h"
#include "zet/Buffer.h"
#include "zet/BufferStream.h"
#include "zet/Containers.h"
#include "zet/DisplayText.h"
#include "zet/Error.h"
#include "zet/ErrorKind.h"
#include "zet/Export.h"
#include "zet/FileInStream.h"
#include "zet/FileInfoBase.h"
#include "zet/FileOutStream.h"
#include "zet/InStream.h"
#include "zet/InvalidArgError.h"
#include "zet/LockedFile.h"
#include "zet/Log.h"
#include "zet/MTRand.h"
#include "zet/MemoryInStream.h"
#include "zet/Mutex.h"
#include "zet/NativeFile.h"
#include "zet/OutStream.h"
#include "zet/ParseNumber.h"
#include "zet/Path.h"
#include "zet/Pointer.h"
#include "zet/PosixSelect.h"
#include "zet/Props.h"
#include "zet/ResourceManager.h"
#include "zet/SafeGlobal.h"
#include "zet/ScopeExit.h"
#include "zet/Signal.h"
#include "zet/String.h"
#include "zet/Thread.h"
#include "zet/Time.h"
#include "zet/TimeFields.h"
#include "zet/TimeSpan.h"
#include "zet/Types.h"
#include "zet/URI.h"
#include "zet/XMLCharacters.h"
#include "zet/XMLElement.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <utility>

// The templates with all their members.
template class zet::P<vexil::CNetRequest>;
template class zet::TBuffer<unsigned char>;
template class zet::TPathImpl<zet::CWindowsPathTraits>;

namespace {

int t_named = 0;

template <class Name>
void name(Name value) {
    t_named += value != nullptr ? 1 : 0;
}

/// A constructor that can be called must link: it is called under a condition that the compiler cannot
/// predict.
volatile bool t_construct = false;

template <class T>
T& any() {
    static T* none = nullptr;
    return *none;
}

void name_sigil_CDigestType_CRC32() {
    using Class = sigil::CDigestType_CRC32;
    using namespace sigil;
    name(static_cast<zet::P<IDigest> (Class::*)() const>(&Class::createDigest));
}

void name_sigil_CDigestType_CRC32C() {
    using Class = sigil::CDigestType_CRC32C;
    using namespace sigil;
    name(static_cast<zet::P<IDigest> (Class::*)() const>(&Class::createDigest));
}

void name_sigil_CDigestType_CRC64NVME() {
    using Class = sigil::CDigestType_CRC64NVME;
    using namespace sigil;
    name(static_cast<zet::P<IDigest> (Class::*)() const>(&Class::createDigest));
}

void name_sigil_CDigestType_MD5() {
    using Class = sigil::CDigestType_MD5;
    using namespace sigil;
    name(static_cast<zet::P<IDigest> (Class::*)() const>(&Class::createDigest));
}

void name_sigil_CDigestType_SHA256() {
    using Class = sigil::CDigestType_SHA256;
    using namespace sigil;
    name(static_cast<zet::P<IDigest> (Class::*)() const>(&Class::createDigest));
}

void name_sigil_COpenSSLInit() {
    using Class = sigil::COpenSSLInit;
    using namespace sigil;
    name(static_cast<void (*)()>(&Class::ensureInitialized));
}

void name_sigil_IDigest() {
    using Class = sigil::IDigest;
    using namespace sigil;
    name(static_cast<void (Class::*)()>(&Class::reset));
    name(static_cast<void (Class::*)(const void*, int)>(&Class::update));
    name(static_cast<void (Class::*)(zet::TBuffer<unsigned char>&)>(&Class::finish));
    name(static_cast<zet::P<IDigest> (Class::*)() const>(&Class::clone));
}

void name_sigil_IDigestType() {
    using Class = sigil::IDigestType;
    using namespace sigil;
    name(static_cast<zet::P<IDigest> (Class::*)() const>(&Class::createDigest));
}

void name_vexil_CCURLError() {
    using Class = vexil::CCURLError;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<CURLcode>(), any<const String>(), any<const String>(),
                                            any<int>(), any<const String>(), any<const String>(),
                                            any<const String>(), any<const String>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<CURLMcode>(), any<const String>(), any<const String>(),
                                            any<int>(), any<const String>(), any<const String>(),
                                            any<const String>(), any<const String>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CCURLError>());
    }
    name(static_cast<int (Class::*)() const noexcept>(&Class::getResponseCode));
    name(static_cast<String (Class::*)() const>(&Class::getResponseCodeDomain));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getServerMessage));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getHTTPStatusLine));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getURL));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getHTTPMethod));
    name(static_cast<P<CError> (Class::*)() const>(&Class::clone));
    name(static_cast<void (Class::*)() const>(&Class::throwClone));
    name(static_cast<String (*)(CURLcode, const String&, const String&, int)>(&Class::makeErrorText));
    name(static_cast<String (*)(CURLMcode, const String&, int)>(&Class::makeErrorText));
    name(static_cast<int (*)(const CProps&)>(&Class::getResponseCode));
    name(static_cast<String (*)(const CProps&)>(&Class::getResponseCodeDomain));
}

void name_vexil_CRateLimit() {
    using Class = vexil::CRateLimit;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object;
        [[maybe_unused]] const Class other(any<Class::IClock*>());
    }
    name(static_cast<void (Class::*)(int64)>(&Class::setDownloadRate));
    name(static_cast<void (Class::*)(int64)>(&Class::setUploadRate));
    name(static_cast<int64 (Class::*)() const>(&Class::getDownloadRate));
    name(static_cast<int64 (Class::*)() const>(&Class::getUploadRate));
    name(static_cast<std::chrono::nanoseconds (Class::IClock::*)() noexcept>(&Class::IClock::getTime));
    name(static_cast<void (Class::IClock::*)(std::chrono::nanoseconds) noexcept>(&Class::IClock::sleep));
}

void name_vexil_CPauseToken() {
    using Class = vexil::CPauseToken;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object;
    }
    name(static_cast<void (Class::*)() noexcept>(&Class::pause));
    name(static_cast<void (Class::*)() noexcept>(&Class::resume));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isPaused));
}

void name_vexil_CCancelToken() {
    using Class = vexil::CCancelToken;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    name(static_cast<void (Class::*)() noexcept>(&Class::cancel));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isCancelled));
    name(static_cast<void (Class::*)() const>(&Class::throwIfCancelled));
    name(static_cast<bool (Class::*)(int) const>(&Class::pause));
}

void name_vexil_CSharedConnections() {
    using Class = vexil::CSharedConnections;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<int>());
    }
    name(static_cast<void (Class::*)() noexcept>(&Class::closeIdle));
    name(static_cast<int (Class::*)() const>(&Class::getIdleCount));
}

void name_vexil_CNetReply() {
    using Class = vexil::CNetReply;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<int>(), any<String>(), any<std::string>());
    }
    name(static_cast<int (Class::*)() const noexcept>(&Class::getCode));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getText));
    name(static_cast<const std::string& (Class::*)() const noexcept>(&Class::getBytes));
}

void name_vexil_CGlobalInit() {
    using Class = vexil::CGlobalInit;
    using namespace vexil;
    name(static_cast<const P<CGlobalInit>& (*)()>(&Class::get));
    name(static_cast<void (*)()>(&Class::ensureInitialized));
    name(static_cast<zet::CSafeGlobalGuard& (*)()>(&Class::globalInstanceGuard));
}

void name_vexil_CHTTPServerHeader() {
    using Class = vexil::CHTTPServerHeader;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CHTTPServerHeader>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(std::move(any<CHTTPServerHeader>()));
    }
    name(static_cast<bool (Class::*)(const String&) const>(&Class::hasComponent));
    name(static_cast<String (Class::*)(const String&) const>(&Class::getComponentVersion));
    name(
        static_cast<const TMap<String, String>& (Class::*)() const noexcept>(&Class::getComponentVersionMap));
}

void name_vexil_CHeaderAssembler() {
    using Class = vexil::CHeaderAssembler;
    using namespace vexil;
    name(static_cast<TMap<String, String>& (Class::*)() noexcept>(&Class::getHeaderMap));
    name(static_cast<const TMap<String, String>& (Class::*)() const noexcept>(&Class::getHeaderMap));
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CHeaderAssembler>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(std::move(any<CHeaderAssembler>()));
    }
    name(static_cast<void (Class::*)(const String&)>(&Class::handleHeaderLine));
    name(static_cast<void (Class::*)()>(&Class::reset));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isComplete));
    name(static_cast<void (Class::*)(CServerInfo*)>(&Class::setServerInfoToUpdate));
}

void name_vexil_CNetHeaders() {
    using Class = vexil::CNetHeaders;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CNetHeaders>());
    }
    name(static_cast<void (Class::*)(const String&, const String&)>(&Class::add));
    name(static_cast<curl_slist* (Class::*)() noexcept>(&Class::getSList));
    name(static_cast<P<Class::CIterator> (Class::*)() const>(&Class::createIterator));
    name(static_cast<void (Class::*)(TMap<String, String>&) const>(&Class::fillMap));
    name(static_cast<void (*)(const String&, String&, String&)>(&Class::splitEntry));
    name(static_cast<std::pair<std::wstring_view, std::wstring_view> (*)(std::wstring_view)>(
        &Class::splitEntry));
}

void name_vexil_CNetHeaders_CIterator() {
    using Class = vexil::CNetHeaders::CIterator;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const P<CNetStringList::CIterator>>());
    }
    name(static_cast<bool (Class::*)()>(&Class::next));
    name(static_cast<void (Class::*)() noexcept>(&Class::reset));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getName));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getValue));
}

void name_vexil_CNetRequest() {
    using Class = vexil::CNetRequest;
    using namespace vexil;
    name(static_cast<void (Class::*)(const String&)>(&Class::setUserName));
    name(static_cast<void (Class::*)(const String&)>(&Class::setUserPassword));
    name(static_cast<void (Class::*)(const zet::CTimeSpan&)>(&Class::setConnectTimeout));
    name(static_cast<void (Class::*)(const zet::CTimeSpan&)>(&Class::setFullRequestTimeout));
    name(static_cast<void (Class::*)(CNetStringList*)>(&Class::setFTPCustomPreCommands));
    name(static_cast<void (Class::*)(CNetStringList*)>(&Class::setFTPCustomPostCommands));
    name(static_cast<void (Class::*)(CURLoption, int)>(&Class::setOptionInt));
    name(static_cast<void (Class::*)(CURLoption, int64)>(&Class::setOptionInt64));
    name(static_cast<void (Class::*)(CURLoption, void*)>(&Class::setOptionPtr));
    name(static_cast<void (Class::*)(CURLoption, const String&)>(&Class::setOptionString));
    name(static_cast<double (Class::*)()>(&Class::getDownloadedBytes));
    name(static_cast<double (Class::*)()>(&Class::getUploadedBytes));
    name(static_cast<double (Class::*)()>(&Class::getDownloadSize));
    name(static_cast<double (Class::*)()>(&Class::getUploadSize));
    name(static_cast<double (Class::*)()>(&Class::getAvgDownloadSpeed));
    name(static_cast<double (Class::*)()>(&Class::getAvgUploadSpeed));
    name(static_cast<int (Class::*)(CURLINFO)>(&Class::getInfoLong));
    name(static_cast<double (Class::*)(CURLINFO)>(&Class::getInfoDouble));
    name(static_cast<int64 (Class::*)(CURLINFO) const>(&Class::getInfoInt64));
    name(static_cast<int64 (Class::*)() const>(&Class::getDownloadedByteCount));
    name(static_cast<int64 (Class::*)() const>(&Class::getUploadedByteCount));
    name(static_cast<int64 (Class::*)() const>(&Class::getDownloadContentLength));
    name(static_cast<int64 (Class::*)() const>(&Class::getUploadContentLength));
    name(static_cast<int64 (Class::*)() const>(&Class::getDownloadBytesPerSecond));
    name(static_cast<int64 (Class::*)() const>(&Class::getUploadBytesPerSecond));
    name(static_cast<std::span<const std::byte> (Class::*)() const noexcept>(&Class::getReceivedBytes));
    name(static_cast<std::string_view (Class::*)() const noexcept>(&Class::getReceivedText));
    name(static_cast<void (Class::*)(TLSUpgrade)>(&Class::setFTPUseSSL));
    name(static_cast<void (Class::*)(FTPFileMethod)>(&Class::setFTPFileMethod));
    name(static_cast<void (Class::*)(FTPMissingDirs)>(&Class::setFTPCreateMissingDirs));
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    name(static_cast<void (Class::*)()>(&Class::reset));
    name(static_cast<void (Class::*)()>(&Class::setDefaultOptions));
    name(static_cast<void (Class::*)()>(&Class::resetForPerform));
    name(static_cast<void (Class::*)(IBase*)>(&Class::addDependencyObject));
    name(static_cast<void (Class::*)(IBase*)>(&Class::setUserData));
    name(static_cast<void (Class::*)(CCancelToken*)>(&Class::setCancelToken));
    name(static_cast<P<CCancelToken> (Class::*)() const>(&Class::getCancelToken));
    name(static_cast<P<IBase> (Class::*)() const>(&Class::getUserData));
    name(static_cast<void* (Class::*)() const noexcept>(&Class::getHandle));
    name(static_cast<void (Class::*)(const String&)>(&Class::setURL));
    name(static_cast<String (Class::*)() const>(&Class::getURL));
    name(static_cast<void (Class::*)(const String&)>(&Class::setProxy));
    name(static_cast<void (Class::*)(unsigned int)>(&Class::setHTTPAuthMethods));
    name(static_cast<void (Class::*)(bool)>(&Class::setSSLVerifyPeer));
    name(static_cast<void (Class::*)(bool)>(&Class::setVerifyCertificate));
    name(static_cast<void (Class::*)(TLSVersion)>(&Class::setMaxTLSVersion));
    name(static_cast<void (Class::*)(const String&)>(&Class::setRedirectProtocols));
    name(static_cast<void (Class::*)(int)>(&Class::setMaxRedirects));
    name(static_cast<String (Class::*)()>(&Class::getRedirectURL));
    name(static_cast<void (Class::*)(bool) noexcept>(&Class::setKeepsOwnConnections));
    name(static_cast<void (Class::*)(const TPathImpl<CWindowsPathTraits>&)>(&Class::setRootCertBundlePath));
    name(static_cast<void (Class::*)(const String&)>(&Class::setHTTPMethod));
    name(static_cast<String (Class::*)() const>(&Class::getHTTPMethod));
    name(static_cast<void (Class::*)(bool)>(&Class::setUpload));
    name(static_cast<void (Class::*)(CNetHeaders*)>(&Class::setCustomHTTPHeaders));
    name(static_cast<P<CNetHeaders> (Class::*)() const>(&Class::getCustomHTTPHeaders));
    name(static_cast<void (Class::*)(int64)>(&Class::setSendDataSize));
    name(static_cast<void (Class::*)(Class::IDataSource*)>(&Class::setSendDataSource));
    name(static_cast<void (Class::*)(zet::IInStream*)>(&Class::setSendDataStream));
    name(static_cast<void (Class::*)(const TBuffer<unsigned char>*)>(&Class::setSendDataBuffer));
    name(static_cast<void (Class::*)(const String&)>(&Class::setSendDataAsUTF8));
    name(static_cast<void (Class::*)(Class::IDataSink*)>(&Class::setReceiveDataSink));
    name(static_cast<void (Class::*)(zet::IOutStream*)>(&Class::setReceiveDataStream));
    name(static_cast<void (Class::*)()>(&Class::setDefaultReceiveDataStream));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::usesDefaultReceiveBuffer));
    name(static_cast<PC<TBuffer<unsigned char>> (Class::*)() const>(&Class::getDefaultReceiveBuffer));
    name(static_cast<P<Class::IDataSink> (Class::*)() const>(&Class::getDefaultReceiveSink));
    name(static_cast<void (Class::*)(int64, int64)>(&Class::setReceiveBufferLimits));
    name(static_cast<void (Class::*)(int64, int64)>(&Class::setRange));
    name(static_cast<void (Class::*)(CServerInfo*)>(&Class::setServerInfoToUpdate));
    name(static_cast<void (Class::*)(Class::IDoneListener*)>(&Class::setDoneListener));
    name(static_cast<void (Class::*)(bool)>(&Class::setFollowRedirects));
    name(static_cast<void (Class::*)(bool)>(&Class::setKeepPostOnRedirect));
    name(static_cast<void (Class::*)(int, const zet::CTimeSpan&)>(&Class::setLowSpeedLimit));
    name(static_cast<void (Class::*)(int)>(&Class::setFTPUseSSL));
    name(static_cast<void (Class::*)(int)>(&Class::setFTPFileMethod));
    name(static_cast<void (Class::*)(int)>(&Class::setFTPCreateMissingDirs));
    name(static_cast<void (Class::*)(const String&)>(&Class::setFTPListOverrideCommand));
    name(static_cast<void (Class::*)()>(&Class::perform));
    name(static_cast<int (Class::*)()>(&Class::getResponseCode));
    name(static_cast<String (Class::*)() const>(&Class::getResponseCodeDomain));
    name(static_cast<String (Class::*)() const>(&Class::getHTTPStatusLine));
    name(static_cast<const TMap<String, String>& (Class::*)() const noexcept>(&Class::getResponseHeaderMap));
    name(static_cast<const CNetStringList& (Class::*)() const>(&Class::getResponseInfo));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isResponseComplete));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::hasDroppedHeaderLine));
    name(static_cast<String (Class::*)() const>(&Class::getErrorMessage));
    name(static_cast<void (Class::*)(CURLcode, const String&, int, const String&)>(&Class::throwError));
    name(static_cast<String (Class::*)(const String&)>(&Class::urlEscape));
    name(static_cast<void (Class::*)(bool, CURLcode)>(&Class::setAsyncInfo));
    name(static_cast<bool (Class::*)() const>(&Class::isAsyncDone));
    name(static_cast<bool (Class::*)(int)>(&Class::waitAsyncDone));
    name(static_cast<P<zet::CSignal> (Class::*)() const>(&Class::getAsyncDoneSignal));
    name(static_cast<void (Class::*)()>(&Class::checkAsyncResult));
    name(static_cast<void (Class::*)(bool)>(&Class::setVerbose));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isVerboseEnabled));
    name(static_cast<void (Class::*)(VerboseLogData, VerboseLogData)>(&Class::setVerboseSettings));
    name(static_cast<void (Class::*)(int64)>(&Class::setVerboseRecordLimit));
    name(static_cast<int64 (Class::*)() const noexcept>(&Class::getVerboseLeftOutBytes));
    name(static_cast<P<zet::CXMLElement> (Class::*)(unsigned int)>(&Class::getVerboseOutput));
    name(static_cast<P<zet::CXMLElement> (Class::*)(unsigned int)>(&Class::getRedactedVerboseOutput));
    name(static_cast<void (Class::*)(void*, curl_infotype, char*, std::size_t)>(&Class::onLogDebugMessage));
    name(static_cast<String (*)(const unsigned char*, int, const TMap<String, String>&)>(
        &Class::getServerErrorMessageFromResponseData));
    name(static_cast<int (*)(void*, curl_infotype, char*, std::size_t, void*) noexcept>(
        &Class::_curlDebugFunctionCallback));
    name(static_cast<void (Class::*)(CNetStringList*)>(&Class::setMailRecipients));
    name(static_cast<String (Class::*)(int) const>(&Class::getResponseText));
    name(static_cast<TArray<CNetReply> (Class::*)() const>(&Class::getReplies));
    name(static_cast<void (Class::*)()>(&Class::setProxyForCurrentURLFromUserSettings));
    name(static_cast<void (Class::*)(Class::ITransferProgress*)>(&Class::setTransferProgress));
    name(static_cast<void (Class::*)(bool)>(&Class::setCancellable));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isCancellable));
    name(static_cast<void (Class::*)()>(&Class::cancel));
    name(static_cast<void (Class::*)()>(&Class::announceAsync));
    name(static_cast<void (Class::*)(Class::ICancelWaker*)>(&Class::setCancelWaker));
}

void name_vexil_CNetRequest_CStreamDataSink() {
    using Class = vexil::CNetRequest::CStreamDataSink;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<zet::IOutStream*>());
    }
    name(static_cast<void (Class::*)(const void*, int, int, const TMap<String, String>&)>(&Class::write));
}

void name_vexil_CNetRequest_CStreamDataSource() {
    using Class = vexil::CNetRequest::CStreamDataSource;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<zet::IInStream*>());
    }
    name(static_cast<int (Class::*)(void*, int, const TMap<String, String>&)>(&Class::read));
    name(static_cast<int64 (Class::*)()>(&Class::getSize));
    name(static_cast<void (Class::*)(int64)>(&Class::seek));
    name(static_cast<int64 (Class::*)()>(&Class::getPosition));
}

void name_vexil_CNetRequest_IDataSink() {
    using Class = vexil::CNetRequest::IDataSink;
    using namespace vexil;
    name(static_cast<void (Class::*)(const void*, int, int, const TMap<String, String>&)>(&Class::write));
}

void name_vexil_CNetRequest_IDataSource() {
    using Class = vexil::CNetRequest::IDataSource;
    using namespace vexil;
    name(static_cast<int (Class::*)(void*, int, const TMap<String, String>&)>(&Class::read));
    name(static_cast<int64 (Class::*)()>(&Class::getSize));
    name(static_cast<void (Class::*)(int64)>(&Class::seek));
    name(static_cast<int64 (Class::*)()>(&Class::getPosition));
}

void name_vexil_CNetRequest_IDoneListener() {
    using Class = vexil::CNetRequest::IDoneListener;
    using namespace vexil;
    name(static_cast<void (Class::*)(CNetRequest*, CError*)>(&Class::onDone));
}

void name_vexil_CNetRequest_ICancelWaker() {
    using Class = vexil::CNetRequest::ICancelWaker;
    name(static_cast<void (Class::*)() noexcept>(&Class::wake));
}

void name_vexil_CNetRequest_ITransferProgress() {
    using Class = vexil::CNetRequest::ITransferProgress;
    using namespace vexil;
    name(static_cast<void (Class::*)(int64, int64, int64, int64)>(&Class::onProgress));
}

void name_vexil_CProxyPattern() {
    using Class = vexil::CProxyPattern;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>());
    }
    name(static_cast<Class::CTarget (*)(const String&)>(&Class::parseURL));
    name(static_cast<bool (Class::*)(const Class::CTarget&) const>(&Class::matches));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getText));
}

void name_vexil_CProxyDecision() {
    using Class = vexil::CProxyDecision;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object;
    }
    name(&Class::action);
    name(&Class::proxy);
    name(&Class::reason);
    name(static_cast<String (Class::*)() const>(&Class::toText));
}

void name_vexil_CProxyRules() {
    using Class = vexil::CProxyRules;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object;
    }
    name(static_cast<void (Class::*)(const String&, const String&)>(&Class::addProxy));
    name(static_cast<void (Class::*)(const String&)>(&Class::addDirect));
    name(static_cast<void (Class::*)(const String&)>(&Class::addDeny));
    name(static_cast<void (Class::*)()>(&Class::clear));
    name(static_cast<std::optional<CProxyDecision> (Class::*)(const String&) const>(&Class::find));
}

void name_vexil_CProxySettings() {
    using Class = vexil::CProxySettings;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object;
    }
    name(static_cast<P<CProxySettings> (*)()>(&Class::getUserSettings));
    name(static_cast<void (Class::*)()>(&Class::clear));
    name(static_cast<void (Class::*)(const String&, const String&)>(&Class::setProxyForURLScheme));
    name(static_cast<String (Class::*)(const String&)>(&Class::getProxyForURLScheme));
    name(static_cast<void (Class::*)(TArray<String>&) const>(&Class::getProxyURLSchemes));
    name(static_cast<String (Class::*)(const String&)>(&Class::getProxyForURL));
    name(static_cast<void (Class::*)(const String&)>(&Class::setDefaultProxy));
    name(static_cast<void (Class::*)(bool)>(&Class::setDenyUnknown));
    name(static_cast<CProxyDecision (Class::*)(const String&)>(&Class::explain));
    name(static_cast<void (Class::*)(CProxyRules*)>(&Class::setRules));
    name(static_cast<void (Class::*)(bool)>(&Class::setDirectConnectPatterns));
    name(static_cast<void (Class::*)(const String&)>(&Class::addDirectConnectHost));
    name(static_cast<void (Class::*)(const String&)>(&Class::removeDirectConnectHost));
    name(static_cast<bool (Class::*)(const String&) const>(&Class::isDirectConnectHost));
    name(static_cast<void (Class::*)(TArray<String>&) const>(&Class::getDirectConnectHosts));
    name(static_cast<void (Class::*)(const String&)>(&Class::addProxiesFromString));
    name(static_cast<void (Class::*)(const String&)>(&Class::addDirectConnectHostsFromString));
    name(static_cast<void (Class::*)()>(&Class::initFromUserSettings));
    name(static_cast<void (Class::*)(IUserProxySource&)>(&Class::initFromSource));
}

void name_vexil_IUserProxySource() {
    using Class = vexil::IUserProxySource;
    using namespace vexil;
    name(static_cast<void (Class::*)(String&, String&)>(&Class::read));
    name(static_cast<P<IUserProxySource> (*)()>(&Class::createForSystem));
}

void name_vexil_CNetRequest_IRestartableDataSink() {
    using Class = vexil::CNetRequest::IRestartableDataSink;
    using namespace vexil;
    name(static_cast<void (Class::*)()>(&Class::restart));
}

void name_vexil_CNetStringList() {
    using Class = vexil::CNetStringList;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CNetStringList>());
    }
    name(static_cast<void (Class::*)(const String&)>(&Class::add));
    name(static_cast<void (Class::*)(std::string_view)>(&Class::addUTF8));
    name(static_cast<curl_slist* (Class::*)() noexcept>(&Class::getSList));
    name(static_cast<P<Class::CIterator> (Class::*)() const>(&Class::createIterator));
}

void name_vexil_CNetStringList_CIterator() {
    using Class = vexil::CNetStringList::CIterator;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const curl_slist*>());
    }
    name(static_cast<bool (Class::*)()>(&Class::next));
    name(static_cast<void (Class::*)() noexcept>(&Class::reset));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getEntry));
}

void name_vexil_CS3Client() {
    using Class = vexil::CS3Client;
    using namespace vexil;
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const void*, int,
                                     const String&)>(&Class::preparePutObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const void*, int,
                                     const String&)>(&Class::putObject));
    name(
        static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const TBuffer<unsigned char>&,
                                    const String&)>(&Class::preparePutObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&,
                                     const TBuffer<unsigned char>&, const String&)>(&Class::putObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, zet::IInStream*, int64,
                                     const String&)>(&Class::preparePutObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, zet::IInStream*, int64,
                                     const String&)>(&Class::putObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, int64, int64)>(
        &Class::prepareGetObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, int64, int64)>(
        &Class::getObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, int64, int64,
                                     zet::IOutStream*)>(&Class::prepareGetObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, int64, int64,
                                     zet::IOutStream*)>(&Class::getObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&)>(
        &Class::prepareDeleteObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&)>(&Class::deleteObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const TArray<String>&, S3DeleteMode)>(
        &Class::prepareDeleteObjectsRequest));
    name(static_cast<P<CS3DeleteResult> (Class::*)(CNetRequest&, const String&, const TArray<String>&,
                                                   S3DeleteMode)>(&Class::deleteObjects));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const TArray<CS3VersionId>&, S3DeleteMode)>(
        &Class::prepareDeleteObjectVersionsRequest));
    name(static_cast<P<CS3DeleteResult> (Class::*)(CNetRequest&, const String&, const TArray<CS3VersionId>&,
                                                   S3DeleteMode)>(&Class::deleteObjectVersions));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&)>(
        &Class::prepareDeleteObjectVersionRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&)>(
        &Class::deleteObjectVersion));
    name(static_cast<bool (*)(const String&)>(&Class::isKeyForXML));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const CS3ListObjectsV2Query&)>(
        &Class::prepareListObjectsV2Request));
    name(static_cast<P<CS3ListObjectsV2Result> (Class::*)(
             CNetRequest&, const String&, const CS3ListObjectsV2Query&)>(&Class::listObjectsV2));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const CS3ListingQuery&)>(
        &Class::prepareListVersionsRequest));
    name(
        static_cast<P<CS3ListVersionsResult> (Class::*)(CNetRequest&, const String&, const CS3ListingQuery&)>(
            &Class::listVersions));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const CS3ListingQuery&)>(
        &Class::prepareListUploadsRequest));
    name(static_cast<P<CS3UploadList> (Class::*)(CNetRequest&, const String&, const CS3ListingQuery&)>(
        &Class::listUploads));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::prepareCreateBucketRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::createBucket));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::prepareDeleteBucketRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::deleteBucket));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::prepareListBucketsRequest));
    name(static_cast<P<CS3BucketList> (Class::*)(CNetRequest&, const String&)>(&Class::listBuckets));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::prepareGetBucketLocationRequest));
    name(static_cast<String (Class::*)(CNetRequest&, const String&)>(&Class::getBucketLocation));
    name(static_cast<String (*)(const TBuffer<unsigned char>&)>(&Class::readBucketLocation));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::prepareHeadBucketRequest));
    name(static_cast<bool (Class::*)(CNetRequest&, const String&)>(&Class::bucketExists));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, bool)>(
        &Class::prepareSetBucketVersioningRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, bool)>(&Class::setBucketVersioning));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&)>(
        &Class::prepareCreateMultipartUploadRequest));
    name(static_cast<String (Class::*)(CNetRequest&, const String&, const String&, const String&)>(
        &Class::createMultipartUpload));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&, int,
                                     zet::IInStream*, int64)>(&Class::prepareUploadPartRequest));
    name(static_cast<String (Class::*)(CNetRequest&, const String&, const String&, const String&, int,
                                       zet::IInStream*, int64)>(&Class::uploadPart));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&,
                                     const TArray<CS3UploadedPart>&)>(
        &Class::prepareCompleteMultipartUploadRequest));
    name(static_cast<String (Class::*)(CNetRequest&, const String&, const String&, const String&,
                                       const TArray<CS3UploadedPart>&)>(&Class::completeMultipartUpload));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&)>(
        &Class::prepareAbortMultipartUploadRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&)>(
        &Class::abortMultipartUpload));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&, int, int)>(
        &Class::prepareListPartsRequest));
    name(static_cast<P<CS3PartList> (Class::*)(CNetRequest&, const String&, const String&, const String&, int,
                                               int)>(&Class::listParts));
    name(static_cast<TArray<CS3StoredPart> (Class::*)(CNetRequest&, const String&, const String&,
                                                      const String&)>(&Class::listAllParts));
    name(static_cast<String (*)(const TBuffer<unsigned char>&)>(&Class::readUploadID));
    name(static_cast<String (*)(const TBuffer<unsigned char>&)>(&Class::readCompletedETag));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&, const String&,
                                     int)>(&Class::prepareListObjectsRequest));
    name(static_cast<P<CS3ListObjectsResult> (Class::*)(CNetRequest&, const String&, const String&,
                                                        const String&, const String&, int)>(
        &Class::listObjects));
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>(), any<const String>(), any<bool>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3Client>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(std::move(any<CS3Client>()));
    }
    name(static_cast<void (Class::*)(const String&)>(&Class::setBaseURL));
    name(static_cast<void (Class::*)(const String&, int, bool)>(&Class::setServer));
    name(static_cast<String (Class::*)() const>(&Class::getBaseURL));
    name(static_cast<void (Class::*)(int)>(&Class::setMaxRetries));
    name(static_cast<void (Class::*)(std::optional<CRetryPolicy>)>(&Class::setRetryPolicy));
    name(static_cast<void (Class::*)(bool)>(&Class::setRecordsTries));
    name(static_cast<const CTryLog& (Class::*)() const noexcept>(&Class::getTries));
    name(static_cast<void (Class::*)(ITransferMetrics*)>(&Class::setMetrics));
    name(static_cast<void (Class::*)(bool)>(&Class::setPrintDebugInfo));
    name(static_cast<void (Class::*)(bool)>(&Class::setSSLVerifyPeer));
    name(static_cast<void (Class::*)(bool)>(&Class::setVerifyCertificate));
    name(static_cast<void (Class::*)(bool)>(&Class::setVerifyETag));
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3Credentials>(), any<bool>());
    }
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, std::string_view,
                                     const String&)>(&Class::preparePutObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, std::span<const std::byte>,
                                     const String&)>(&Class::preparePutObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, std::string_view,
                                     const String&)>(&Class::putObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, std::span<const std::byte>,
                                     const String&)>(&Class::putObject));
    static_assert(S3TemporaryBytes<std::string> && !S3TemporaryBytes<std::string&>);
    name(static_cast<void (Class::*)(CNetRequest&) const>(&Class::checkResponse));
    name(static_cast<String (*)(const TMap<String, String>&)>(&Class::getContentMD5));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&, const String&,
                                     int)>(&Class::prepareListEncodedObjectsRequest));
    name(static_cast<P<CS3ListObjectsResult> (Class::*)(CNetRequest&, const String&, const String&,
                                                        const String&, const String&, int)>(
        &Class::listEncodedObjects));
    name(static_cast<void (Class::*)(S3SignatureVersion)>(&Class::setSignatureVersion));
    name(static_cast<void (Class::*)(int)>(&Class::setSignatureVersion));
    name(static_cast<S3SignatureVersion (Class::*)() const noexcept>(&Class::getSignatureVersion));
    name(static_cast<void (Class::*)(const String&)>(&Class::setRegion));
    name(static_cast<String (Class::*)() const>(&Class::getRegion));
    name(static_cast<void (Class::*)(const String&)>(&Class::setSessionToken));
    name(static_cast<void (Class::*)(IS3CredentialsProvider*)>(&Class::setCredentialsProvider));
    name(static_cast<void (Class::*)(bool)>(&Class::setAnonymous));
    name(static_cast<void (Class::*)(S3AddressingStyle)>(&Class::setAddressingStyle));
    name(static_cast<void (Class::*)(S3PayloadSigning)>(&Class::setPayloadSigning));
    name(static_cast<void (Class::*)(S3UploadCheck)>(&Class::setUploadCheck));
    name(static_cast<String (Class::*)(const String&) const>(&Class::getBucketURL));
    name(static_cast<String (Class::*)(const String&, const String&, const String&, const zet::CTimeSpan&)>(
        &Class::makePresignedURL));
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::signAgain));
    name(static_cast<bool (Class::*)(CNetRequest&, const std::exception&)>(&Class::learnFromRefusal));
    name(static_cast<bool (Class::*)(CNetRequest&, const std::exception&)>(&Class::followRedirect));
    name(static_cast<void (*)(std::exception&, CNetRequest&)>(&Class::tryThrowBetterError));
    name(static_cast<String (*)(CNetRequest*)>(&Class::getCanonicalRequest));
    name(static_cast<void (Class::*)(INetRequestSetup*)>(&Class::setRequestSetup));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&)>(
        &Class::prepareGetObjectHeadersRequest));
    name(static_cast<const TMap<String, String>& (Class::*)(CNetRequest&, const String&, const String&)>(
        &Class::getObjectHeaders));
    name(static_cast<int64 (Class::*)(CNetRequest&, const String&, const String&)>(&Class::getObjectSize));
    name(static_cast<bool (Class::*)(CNetRequest&, const String&, const String&)>(&Class::objectExists));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&)>(
        &Class::prepareCopyObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&)>(
        &Class::copyObject));
    name(static_cast<String (Class::*)(CNetRequest&, const String&, const String&) const>(
        &Class::getObjectURL));
    name(static_cast<int (Class::*)(CNetRequest&)>(&Class::performRequest));
    name(static_cast<void (Class::*)(const TBuffer<unsigned char>*)>(&Class::checkCopyObjectResult));
    name(static_cast<void (Class::*)(CNetRequest*)>(&Class::signRequest));
    name(static_cast<String (Class::*)(CNetRequest*)>(&Class::getSignature));
    name(static_cast<bool (*)(const std::exception&)>(&Class::shouldRetryRequest));
    name(static_cast<bool (*)(const std::exception&)>(&Class::shouldSlowDown));
    name(static_cast<bool (*)(const std::exception&)>(&Class::isNotFoundError));
    name(static_cast<void (*)(const std::exception&, String&, String&)>(&Class::extractErrorCodes));
    name(static_cast<void (*)(std::exception&, const TBuffer<unsigned char>&)>(&Class::tryThrowBetterError));
    name(static_cast<String (*)(CNetRequest*)>(&Class::getStringToSign));
    name(static_cast<String (*)(const TMap<String, String>&)>(&Class::getCanonicalizedAMZHeaders));
    name(static_cast<String (*)(const String&)>(&Class::getCanonicalizedResource));
    name(static_cast<void (*)(String&)>(&Class::makeSingleLineHeaderValue));
}

template <class Class>
void name_result() {
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<std::string_view>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const TBuffer<unsigned char>*>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const Class>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(std::move(any<Class>()));
    }
}

void name_vexil_S3Listings() {
    using namespace vexil;
    name_result<CS3ListObjectsV2Result>();
    name(static_cast<const std::string& (CS3ListObjectsV2Result::*)() const noexcept>(
        &CS3ListObjectsV2Result::getNextContinuationToken));
    using Page = CS3ListingPage;
    name(static_cast<std::size_t (Page::*)() const noexcept>(&Page::getCount));
    name(static_cast<const String& (Page::*)(std::size_t) const>(&Page::getKey));
    name(static_cast<bool (Page::*)() const noexcept>(&Page::isTruncated));
    name(static_cast<const std::string& (Page::*)() const noexcept>(&Page::getNextKeyMarker));
    name(static_cast<const std::string& (Page::*)() const noexcept>(&Page::getNextIdMarker));
    name(static_cast<const TArray<String>& (Page::*)() const noexcept>(&Page::getCommonPrefixes));
    name(static_cast<bool (Page::*)() const noexcept>(&Page::hasEncodedNames));
    name(static_cast<const TArray<String>& (Page::*)() const noexcept>(&Page::getUnreadableNames));
    name_result<CS3ListVersionsResult>();
    name(static_cast<const TArray<CS3ObjectVersion>& (CS3ListVersionsResult::*)() const noexcept>(
        &CS3ListVersionsResult::getVersions));
    name_result<CS3UploadList>();
    name(static_cast<const TArray<CS3PendingUpload>& (CS3UploadList::*)() const noexcept>(
        &CS3UploadList::getUploads));
    name(static_cast<bool (CS3CircleGuard::*)(std::string)>(&CS3CircleGuard::isRepeated));
}

template <class Enumeration, class Entry>
void name_listing() {
    using namespace vexil;
    if (t_construct) {
        Enumeration entries(any<CS3Client*>(), any<CNetRequest*>(), any<const String>(),
                            any<const CS3ListingQuery>());
        [[maybe_unused]] const bool isMore = entries.next();
        [[maybe_unused]] const auto unreadable = entries.takeUnreadableKeys();
        [[maybe_unused]] const bool isEnded = entries.begin() == entries.end();
    }
    if (t_construct) {
        [[maybe_unused]] const Enumeration entries(any<const Enumeration>());
    }
    name(static_cast<const Entry* (Enumeration::*)() const noexcept>(&Enumeration::getCurrent));
    using Iterator = typename Enumeration::CIterator;
    name(static_cast<const Entry& (Iterator::*)() const noexcept>(&Iterator::operator*));
    name(static_cast<const Entry* (Iterator::*)() const noexcept>(&Iterator::operator->));
    name(static_cast<Iterator& (Iterator::*)()>(&Iterator::operator++));
}

void name_vexil_CS3BucketList() {
    using Class = vexil::CS3BucketList;
    using namespace vexil;
    name_result<Class>();
    name(static_cast<const TArray<CS3Bucket>& (Class::*)() const noexcept>(&Class::getBuckets));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getOwnerID));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getOwnerName));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getContinuationToken));
}

void name_vexil_CS3PartList() {
    using Class = vexil::CS3PartList;
    using namespace vexil;
    name_result<Class>();
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isTruncated));
    name(static_cast<int (Class::*)() const noexcept>(&Class::getNextPartNumberMarker));
    name(static_cast<const TArray<CS3StoredPart>& (Class::*)() const noexcept>(&Class::getParts));
}

void name_vexil_S3Options() {
    using Class = vexil::CS3Client;
    using namespace vexil;
    [[maybe_unused]] const CS3CustomerKey key{.bytes = ""};
    [[maybe_unused]] const bool hasKey = key.isSet();
    [[maybe_unused]] const CS3PutOptions put{.contentType = "",
                                             .cacheControl = "",
                                             .contentDisposition = "",
                                             .contentEncoding = "",
                                             .contentLanguage = "",
                                             .expires = "",
                                             .metadata = {},
                                             .tags = {},
                                             .storageClass = "",
                                             .cannedACL = "",
                                             .encryption = "",
                                             .encryptionKeyId = "",
                                             .customerKey = key,
                                             .ifMatch = "",
                                             .ifNoneMatch = "",
                                             .lockMode = S3ObjectLockMode::None,
                                             .lockUntil = {},
                                             .hasLegalHold = false,
                                             .checksum = S3Checksum::None};
    [[maybe_unused]] const CS3PartOptions partOptions{.customerKey = key, .checksum = S3Checksum::None};
    [[maybe_unused]] const CS3UploadedPart uploaded{.number = 1, .eTag = "", .checksum = ""};
    [[maybe_unused]] const CS3StoredPart storedPart{
        .number = 1, .eTag = "", .size = 0, .lastModified = "", .checksumCRC32C = "", .checksumSHA256 = ""};
    [[maybe_unused]] const auto trailers = {S3ChecksumTrailer::AmazonOnly, S3ChecksumTrailer::Always};
    name(static_cast<void (Class::*)(S3ChecksumTrailer)>(&Class::setChecksumTrailer));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::sendsChecksumTrailers));
    name(static_cast<String (*)(const TBuffer<unsigned char>&, S3Checksum)>(&Class::readCompletedChecksum));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&, int,
                                     zet::IInStream*, int64, const CS3PartOptions&)>(
        &Class::prepareUploadPartRequest));
    name(static_cast<CS3UploadedPart (Class::*)(CNetRequest&, const String&, const String&, const String&,
                                                int, zet::IInStream*, int64, const CS3PartOptions&)>(
        &Class::uploadPart));
    [[maybe_unused]] const auto modes = {S3ObjectLockMode::Governance, S3ObjectLockMode::Compliance};
    [[maybe_unused]] const auto checksums = {S3Checksum::None, S3Checksum::CRC32C, S3Checksum::SHA256};
    [[maybe_unused]] const CS3GetOptions get{.versionId = "",
                                             .ifMatch = "",
                                             .ifNoneMatch = "",
                                             .ifModifiedSince = {},
                                             .ifUnmodifiedSince = {},
                                             .customerKey = key,
                                             .partNumber = 0,
                                             .responseContentType = "",
                                             .responseCacheControl = "",
                                             .responseContentDisposition = "",
                                             .responseContentEncoding = "",
                                             .responseContentLanguage = "",
                                             .responseExpires = "",
                                             .asksForChecksum = false};
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const void*, int,
                                     const CS3PutOptions&)>(&Class::preparePutObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const void*, int,
                                     const CS3PutOptions&)>(&Class::putObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, std::string_view,
                                     const CS3PutOptions&)>(&Class::preparePutObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, std::string_view,
                                     const CS3PutOptions&)>(&Class::putObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, std::span<const std::byte>,
                                     const CS3PutOptions&)>(&Class::preparePutObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, std::span<const std::byte>,
                                     const CS3PutOptions&)>(&Class::putObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, zet::IInStream*, int64,
                                     const CS3PutOptions&)>(&Class::preparePutObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, zet::IInStream*, int64,
                                     const CS3PutOptions&)>(&Class::putObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, int64, int64,
                                     const CS3GetOptions&)>(&Class::prepareGetObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, int64, int64,
                                     const CS3GetOptions&)>(&Class::getObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, int64, int64,
                                     zet::IOutStream*, const CS3GetOptions&)>(
        &Class::prepareGetObjectRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, int64, int64,
                                     zet::IOutStream*, const CS3GetOptions&)>(&Class::getObject));
    name(
        static_cast<CS3DownloadResult (Class::*)(CNetRequest&, const String&, const String&, zet::IOutStream*,
                                                 const CS3GetOptions&)>(&Class::getVerifiedObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const CS3GetOptions&)>(
        &Class::prepareGetObjectHeadersRequest));
    name(static_cast<const TMap<String, String>& (Class::*)(CNetRequest&, const String&, const String&,
                                                            const CS3GetOptions&)>(&Class::getObjectHeaders));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const CS3PutOptions&)>(
        &Class::prepareCreateMultipartUploadRequest));
    name(static_cast<String (Class::*)(CNetRequest&, const String&, const String&, const CS3PutOptions&)>(
        &Class::createMultipartUpload));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&, int,
                                     zet::IInStream*, int64, const CS3CustomerKey&)>(
        &Class::prepareUploadPartRequest));
    name(static_cast<String (Class::*)(CNetRequest&, const String&, const String&, const String&, int,
                                       zet::IInStream*, int64, const CS3CustomerKey&)>(&Class::uploadPart));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&,
                                     const TArray<CS3UploadedPart>&, const CS3PutOptions&)>(
        &Class::prepareCompleteMultipartUploadRequest));
    name(static_cast<String (Class::*)(CNetRequest&, const String&, const String&, const String&,
                                       const TArray<CS3UploadedPart>&, const CS3PutOptions&)>(
        &Class::completeMultipartUpload));
    [[maybe_unused]] const CS3CopySource source{.bucket = "",
                                                .object = "",
                                                .versionId = "",
                                                .ifMatch = "",
                                                .ifNoneMatch = "",
                                                .ifModifiedSince = {},
                                                .ifUnmodifiedSince = {},
                                                .customerKey = key};
    [[maybe_unused]] const CS3CopyOptions copy{.metadata = S3CopyDirective::Keep,
                                               .tags = S3CopyDirective::Replace,
                                               .target = put,
                                               .partsAbove = 0,
                                               .partSize = 1};
    name(static_cast<void (Class::*)(CNetRequest&, const CS3CopySource&, const String&, const String&,
                                     const CS3CopyOptions&)>(&Class::prepareCopyObjectRequest));
    name(static_cast<String (Class::*)(CNetRequest&, const CS3CopySource&, const String&, const String&,
                                       const CS3CopyOptions&)>(&Class::copyObject));
    name(static_cast<String (Class::*)(CNetRequest&, const CS3CopySource&, const String&, const String&,
                                       const CS3CopyOptions&)>(&Class::copyLargeObject));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&, int,
                                     const CS3CopySource&, int64, int64, const CS3CustomerKey&)>(
        &Class::prepareUploadPartCopyRequest));
    name(static_cast<String (Class::*)(CNetRequest&, const String&, const String&, const String&, int,
                                       const CS3CopySource&, int64, int64, const CS3CustomerKey&)>(
        &Class::uploadPartCopy));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, const String&)>(
        &Class::prepareGetObjectTagsRequest));
    name(static_cast<TMap<String, String> (Class::*)(CNetRequest&, const String&, const String&,
                                                     const String&)>(&Class::getObjectTags));
    name(static_cast<String (*)(const TBuffer<unsigned char>&)>(&Class::readCopiedETag));
    name(static_cast<String (*)(const TBuffer<unsigned char>&)>(&Class::readCopiedPartETag));
    name(static_cast<TMap<String, String> (*)(const TBuffer<unsigned char>&)>(&Class::readObjectTags));
    name(static_cast<bool (*)(const std::exception&)>(&Class::isPreconditionFailed));
    name(static_cast<bool (*)(const std::exception&)>(&Class::isNotModified));
}

void name_vexil_CS3DeleteResult() {
    using Class = vexil::CS3DeleteResult;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<wxXmlNode*>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const char*>(), any<int>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const TBuffer<unsigned char>*>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3DeleteResult>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(std::move(any<CS3DeleteResult>()));
    }
    name(static_cast<const TArray<CS3DeleteError>& (Class::*)() const noexcept>(&Class::getErrors));
    name(static_cast<const TArray<String>& (Class::*)() const noexcept>(&Class::getDeletedKeys));
}

void name_vexil_CS3CopyObjectResult() {
    using Class = vexil::CS3CopyObjectResult;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<wxXmlNode*>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const char*>(), any<int>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const TBuffer<unsigned char>*>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3CopyObjectResult>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(std::move(any<CS3CopyObjectResult>()));
    }
    name(static_cast<bool (Class::*)() const>(&Class::hadError));
    name(static_cast<P<CS3ErrorResponse> (Class::*)() const>(&Class::getErrorResponse));
    name(static_cast<String (Class::*)() const>(&Class::getLastModified));
    name(static_cast<String (Class::*)() const>(&Class::getETag));
}

void name_vexil_CS3Error() {
    using Class = vexil::CS3Error;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3ErrorResponse>(), any<int>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3Error>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3ErrorResponse>(), any<int>(), any<const String>(),
                                            any<const String>());
    }
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getURL));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getHTTPMethod));
    name(static_cast<String (Class::*)() const>(&Class::getS3Code));
    name(static_cast<P<CError> (Class::*)() const>(&Class::clone));
    name(static_cast<void (Class::*)() const>(&Class::throwClone));
    name(static_cast<String (*)(const CS3ErrorResponse&)>(&Class::makeErrorText));
    name(static_cast<P<CS3Error> (*)(const String&)>(&Class::createObjectNotFoundError));
}

void name_vexil_CS3ErrorResponse() {
    using Class = vexil::CS3ErrorResponse;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>(), any<const String>(), any<const String>(),
                                            any<const String>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<wxXmlNode*>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const char*>(), any<int>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3ErrorResponse>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(std::move(any<CS3ErrorResponse>()));
    }
    name(static_cast<String (Class::*)() const>(&Class::getCode));
    name(static_cast<String (Class::*)() const>(&Class::getMessage));
    name(static_cast<String (Class::*)() const>(&Class::getResource));
    name(static_cast<String (Class::*)() const>(&Class::getRequestID));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getRegion));
    name(static_cast<P<CS3ErrorResponse> (*)(const String&)>(&Class::createObjectNotFoundResponse));
}

void name_vexil_S3Credentials() {
    using namespace vexil;
    name(static_cast<CS3Credentials (IS3CredentialsProvider::*)()>(&IS3CredentialsProvider::getCredentials));
    if (t_construct) {
        [[maybe_unused]] const CS3FixedCredentials fixed(any<const CS3Credentials>());
        [[maybe_unused]] const CS3EnvironmentCredentials environment;
        [[maybe_unused]] const CS3ProfileCredentials profile(any<const String>(), any<const String>());
    }
    name(static_cast<const String& (CS3ProfileCredentials::*)() const noexcept>(
        &CS3ProfileCredentials::getProfile));
    name(static_cast<const String& (CS3ProfileCredentials::*)() const noexcept>(
        &CS3ProfileCredentials::getFile));
    name(
        static_cast<CS3Credentials (CS3RefreshedCredentials::*)()>(&CS3RefreshedCredentials::getCredentials));
    [[maybe_unused]] const CS3TemporaryCredentials temporary;
}

void name_vexil_S3Transfers() {
    using namespace vexil;
    using Observer = IS3TransferObserver;
    name(static_cast<void (Observer::*)(int64, int64)>(&Observer::onProgress));
    name(static_cast<void (Observer::*)(const String&)>(&Observer::onUploadBegun));
    name(static_cast<void (Observer::*)(const CTryLog&)>(&Observer::onTries));
    if (t_construct) {
        [[maybe_unused]] const CS3TransferSettings settings{.parallelParts = any<int>(),
                                                            .partSize = any<int64>(),
                                                            .cancelToken = any<CCancelToken*>(),
                                                            .pauseToken = any<CPauseToken*>(),
                                                            .rateLimit = any<CRateLimit*>(),
                                                            .observer = any<Observer*>(),
                                                            .retryPolicy = CRetryPolicy(),
                                                            .deadline = CRetryPolicy::Clock::now(),
                                                            .verifiesETags = any<bool>(),
                                                            .verifiesChecksums = any<bool>(),
                                                            .uploadCheck = S3UploadCheck::WhileSending,
                                                            .keepsForResume = any<bool>(),
                                                            .storesPartSize = any<bool>(),
                                                            .requestObserver = any<ITransferObserver*>(),
                                                            .recordsTries = any<bool>(),
                                                            .metrics = any<ITransferMetrics*>()};
    }
    using Class = CS3TransferManager;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3Client>());
        [[maybe_unused]] const Class other(any<const CS3Client>(), any<CS3TransferSettings>());
        [[maybe_unused]] const CS3UploadResult result{
            .eTag = any<String>(), .size = any<int64>(), .partCount = any<int>(), .checksum = any<String>()};
    }
    using Path = std::filesystem::path;
    name(static_cast<CS3UploadResult (Class::*)(const Path&, const String&, const String&,
                                                const CS3PutOptions&)>(&Class::uploadFile));
    name(static_cast<CS3UploadResult (Class::*)(zet::IInStream*, int64, const String&, const String&,
                                                const CS3PutOptions&)>(&Class::upload));
    name(static_cast<CS3UploadResult (Class::*)(zet::IInStream*, const String&, const String&,
                                                const CS3PutOptions&)>(&Class::uploadStream));
    name(static_cast<CS3UploadResult (Class::*)(const String&, const Path&, const CS3PutOptions&)>(
        &Class::resumeUpload));
    name(static_cast<void (Class::*)(const String&)>(&Class::discardUpload));
    name(static_cast<String (Class::*)() const>(&Class::getResumeToken));
    if (t_construct) {
        [[maybe_unused]] const CS3DownloadResult result{.eTag = any<String>(),
                                                        .size = any<int64>(),
                                                        .resumedBytes = any<int64>(),
                                                        .check = S3ContentCheck::None};
    }
    [[maybe_unused]] const auto checks = {S3ContentCheck::None,       S3ContentCheck::MD5,
                                          S3ContentCheck::PartMD5s,   S3ContentCheck::CRC32C,
                                          S3ContentCheck::SHA256,     S3ContentCheck::PartCRC32Cs,
                                          S3ContentCheck::PartSHA256s};
    name(static_cast<CS3DownloadResult (Class::*)(const String&, const String&, const Path&,
                                                  const CS3GetOptions&)>(&Class::downloadFile));
    name(static_cast<CS3DownloadResult (Class::*)(const String&, const String&, zet::IOutStream*,
                                                  const CS3GetOptions&)>(&Class::download));
}

void name_vexil_CS3SigningDetour() {
    using Class = vexil::CS3SigningDetour;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object;
    }
    name(static_cast<bool (Class::*)(CS3Client&, CNetRequest&, const CError&)>(&Class::find));
    name(static_cast<void (Class::*)(CS3Client&, CNetRequest&) const>(&Class::apply));
}

void name_vexil_CS3SigningError() {
    using Class = vexil::CS3SigningError;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3Error>(), any<S3SignatureVersion>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3Error>(), any<const String>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3Error>(), any<const zet::CTimeSpan>());
    }
    name(static_cast<Class::Cause (Class::*)() const noexcept>(&Class::getCause));
    name(static_cast<S3SignatureVersion (Class::*)() const noexcept>(&Class::getSignatureVersion));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getRegion));
    name(static_cast<const zet::CTimeSpan& (Class::*)() const noexcept>(&Class::getClockDifference));
    name(static_cast<String (Class::*)() const>(&Class::getAdvice));
    name(static_cast<P<CError> (Class::*)() const>(&Class::clone));
    name(static_cast<void (Class::*)() const>(&Class::throwClone));
}

void name_vexil_CS3ListObjectsElement() {
    using Class = vexil::CS3ListObjectsElement;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const wxXmlNode*>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3ListObjectsElement>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(std::move(any<CS3ListObjectsElement>()));
    }
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getKey));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getLastModified));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getETag));
    name(static_cast<int64 (Class::*)() const noexcept>(&Class::getSize));
}

void name_vexil_CS3ListObjectsResult() {
    using Class = vexil::CS3ListObjectsResult;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<wxXmlNode*>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const char*>(), any<int>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const TBuffer<unsigned char>*>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3ListObjectsResult>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(std::move(any<CS3ListObjectsResult>()));
    }
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isTruncated));
    name(
        static_cast<const TArray<P<CS3ListObjectsElement>>& (Class::*)() const noexcept>(&Class::getObjects));
    name(static_cast<const TArray<String>& (Class::*)() const noexcept>(&Class::getCommonPrefixes));
    name(static_cast<String (Class::*)() const>(&Class::getDelimiteredNextMarker));
    name(static_cast<void (Class::*)(const String&, const String&, const String&) const>(&Class::verifyKeys));
    name(static_cast<P<CS3ListObjectsResult> (*)(const TBuffer<unsigned char>*)>(&Class::fromEncoded));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::hasEncodedNames));
    name(static_cast<const TArray<String>& (Class::*)() const noexcept>(&Class::getUnreadableNames));
    name(static_cast<const std::string& (Class::*)() const noexcept>(&Class::getLastKeyBytes));
}

void name_vexil_CS3ObjectEnum() {
    using Class = vexil::CS3ObjectEnum;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<CS3Client*>(), any<CNetRequest*>(), any<const String>(),
                                            any<const String>(), any<const String>(), any<int>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CS3ObjectEnum>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(std::move(any<CS3ObjectEnum>()));
    }
    name(static_cast<void (Class::*)(bool)>(&Class::setVerifyKeys));
    name(static_cast<void (Class::*)(bool)>(&Class::setEncodedKeys));
    name(static_cast<TArray<String> (Class::*)()>(&Class::takeUnreadableKeys));
    name(static_cast<bool (Class::*)()>(&Class::next));
    name(static_cast<P<CS3ListObjectsElement> (Class::*)() const>(&Class::getCurrObject));
    name(static_cast<Class::CIterator (Class::*)()>(&Class::begin));
    name(static_cast<std::default_sentinel_t (Class::*)() const noexcept>(&Class::end));
    name(static_cast<void (Class::*)(S3ListVersion)>(&Class::setListVersion));
}

void name_vexil_CS3ObjectEnum_CIterator() {
    using Class = vexil::CS3ObjectEnum::CIterator;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object;
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<CS3ObjectEnum*>());
    }
    name(static_cast<const CS3ListObjectsElement& (Class::*)() const noexcept>(&Class::operator*));
    name(static_cast<const CS3ListObjectsElement* (Class::*)() const noexcept>(&Class::operator->));
    name(static_cast<const P<CS3ListObjectsElement>& (Class::*)() const noexcept>(&Class::getObject));
    name(static_cast<Class& (Class::*)()>(&Class::operator++));
    name(static_cast<void (Class::*)(int)>(&Class::operator++));
    name(static_cast<bool (Class::*)(std::default_sentinel_t) const noexcept>(&Class::operator==));
}

void name_vexil_function_adapters() {
    using namespace vexil;
    using Bytes = std::span<const std::byte>;
    name(static_cast<P<CNetRequest::IDataSink> (*)(void (*)(Bytes))>(&makeSink<void (*)(Bytes)>));
    name(static_cast<P<CNetRequest::IDataSink> (*)(void (*)(Bytes, int))>(&makeSink<void (*)(Bytes, int)>));
    using Done = void (*)(CNetRequest*, CError*);
    name(static_cast<P<CNetRequest::IDoneListener> (*)(Done)>(&makeDoneListener<Done>));
    using Progress = void (*)(int64, int64, int64, int64);
    name(static_cast<P<CNetRequest::ITransferProgress> (*)(Progress)>(&makeProgress<Progress>));
    using Setup = void (*)(CNetRequest&);
    name(static_cast<P<INetRequestSetup> (*)(Setup)>(&makeRequestSetup<Setup>));
}

void name_vexil_CServerInfo() {
    using Class = vexil::CServerInfo;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CServerInfo>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(std::move(any<CServerInfo>()));
    }
    name(static_cast<bool (Class::*)() const>(&Class::isGetBroken));
    name(static_cast<bool (Class::*)() const>(&Class::isPutBroken));
    name(static_cast<bool (Class::*)() const>(&Class::areGetRangesBroken));
    name(static_cast<String (Class::*)() const>(&Class::getServerHeader));
    name(static_cast<void (Class::*)(const TMap<String, String>&)>(&Class::updateFromHeaders));
}

void name_vexil_INetRequestSetup() {
    using Class = vexil::INetRequestSetup;
    using namespace vexil;
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::setUp));
}

void name_zet_CBufferStream() {
    using Class = zet::CBufferStream;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<TBuffer<unsigned char>*>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const TBuffer<unsigned char>*>());
    }
    name(static_cast<int (Class::*)(void*, int)>(&Class::read));
    name(static_cast<void (Class::*)(const void*, int)>(&Class::write));
    name(static_cast<int64 (Class::*)()>(&Class::getSize));
    name(static_cast<void (Class::*)(int64)>(&Class::seek));
    name(static_cast<int64 (Class::*)()>(&Class::getPosition));
    name(static_cast<PC<TBuffer<unsigned char>> (Class::*)() const>(&Class::getBuffer));
}

void name_zet_CError() {
    using Class = zet::CError;
    using namespace zet;
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getMessage));
    name(static_cast<ErrorKind (Class::*)() const noexcept>(&Class::getKind));
    name(static_cast<void (Class::*)(ErrorKind) noexcept>(&Class::setKind));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getDomain));
    name(static_cast<int64 (Class::*)() const noexcept>(&Class::getCode));
    name(static_cast<const CProps& (Class::*)() const noexcept>(&Class::getProps));
    name(static_cast<const P<CError>& (Class::*)() const noexcept>(&Class::getInnerError));
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>(), any<const String>(), any<int64>(),
                                            any<const CProps>(), any<const P<CError>>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CError>());
    }
    name(static_cast<const char* (Class::*)() const noexcept>(&Class::what));
    name(static_cast<P<CError> (Class::*)() const>(&Class::clone));
    name(static_cast<void (Class::*)() const>(&Class::throwClone));
}

void name_zet_CInvalidArgError() {
    using Class = zet::CInvalidArgError;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>(), any<const String>(), any<const CProps>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CInvalidArgError>());
    }
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getPlace));
    name(static_cast<P<CError> (Class::*)() const>(&Class::clone));
    name(static_cast<void (Class::*)() const>(&Class::throwClone));
}

void name_zet_CFileInStream() {
    using Class = zet::CFileInStream;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const std::filesystem::path>());
    }
    name(static_cast<int (Class::*)(void*, int)>(&Class::read));
    name(static_cast<int64 (Class::*)()>(&Class::getSize));
    name(static_cast<void (Class::*)(int64)>(&Class::seek));
    name(static_cast<int64 (Class::*)()>(&Class::getPosition));
    name(static_cast<bool (Class::*)() const>(&Class::hasChanged));
    name(static_cast<void (Class::*)() const>(&Class::checkUnchanged));
}

void name_zet_CFileOutStream() {
    struct COpenedElsewhere : zet::CFileOutStream {
        using zet::CFileOutStream::CFileOutStream;
        using zet::CFileOutStream::check;
        using zet::CFileOutStream::getFile;
        using zet::CFileOutStream::getName;
        using zet::CFileOutStream::setPositionAndSize;
    };
    using Class = zet::CFileOutStream;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const std::filesystem::path>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const std::filesystem::path>(),
                                            any<const std::filesystem::path>());
    }
    if (t_construct) {
        [[maybe_unused]] COpenedElsewhere object(any<const std::shared_ptr<CNativeFile>>(), any<int64>(),
                                                 any<const std::filesystem::path>());
        object.check("Cannot write", object.getFile().isOpen() ? 0 : 1);
        object.setPositionAndSize(0, object.getName().empty() ? 0 : 1);
    }
    name(static_cast<void (Class::*)(const void*, int)>(&Class::write));
    name(static_cast<int64 (Class::*)()>(&Class::getSize));
    name(static_cast<void (Class::*)(int64)>(&Class::seek));
    name(static_cast<int64 (Class::*)()>(&Class::getPosition));
    name(static_cast<void (Class::*)()>(&Class::close));
}

void name_zet_CNativeFile() {
    using Class = zet::CNativeFile;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    name(static_cast<int (Class::*)(const std::filesystem::path&)>(&Class::openForReading));
    name(static_cast<int (Class::*)(const std::filesystem::path&)>(&Class::openForWriting));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isOpen));
    name(static_cast<int (Class::*)(void*, std::size_t, std::size_t&)>(&Class::read));
    name(static_cast<int (Class::*)(const void*, std::size_t)>(&Class::write));
    name(static_cast<int (Class::*)(int64)>(&Class::seek));
    name(static_cast<int (Class::*)(int64, void*, std::size_t, std::size_t&)>(&Class::readAt));
    name(static_cast<int (Class::*)(int64, const void*, std::size_t)>(&Class::writeAt));
    name(static_cast<int (Class::*)()>(&Class::flush));
    name(static_cast<int (Class::*)(int64)>(&Class::truncate));
    name(static_cast<int (Class::*)(int64&) const>(&Class::getSize));
    name(static_cast<int (Class::*)()>(&Class::close));
}

void name_zet_CLockedFile() {
    using Class = zet::CLockedFile;
    using Path = std::filesystem::path;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    name(static_cast<int (Class::*)(const Path&, zet::FileAccess)>(&Class::create));
    name(static_cast<int (Class::*)(const Path&)>(&Class::openLeft));
    name(static_cast<int (Class::*)(const Path&, const Path&)>(&Class::renameAndClose));
    name(static_cast<int (Class::*)(const Path&)>(&Class::removeAndClose));
    static_assert(zet::FileAccess::Usual != zet::FileAccess::OwnerOnly);
}

void name_zet_CMemoryInStream() {
    using Class = zet::CMemoryInStream;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const void*>(), any<int>());
    }
    name(static_cast<int (Class::*)(void*, int)>(&Class::read));
    name(static_cast<int64 (Class::*)()>(&Class::getSize));
    name(static_cast<void (Class::*)(int64)>(&Class::seek));
    name(static_cast<int64 (Class::*)()>(&Class::getPosition));
}

void name_zet_CMutex() {
    using Class = zet::CMutex;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CMutex>());
    }
    name(static_cast<void (Class::*)()>(&Class::lock));
    name(static_cast<void (Class::*)()>(&Class::unlock));
}

void name_zet_CMutexLock() {
    using Class = zet::CMutexLock;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<CMutex>());
    }
}

void name_zet_CProps() {
    using Class = zet::CProps;
    using namespace zet;
    name(static_cast<void (Class::*)(const String&, const String&)>(&Class::add));
    name(static_cast<void (Class::*)(bool, const String&, const String&)>(&Class::addCond));
    name(static_cast<String (Class::*)(const String&) const>(&Class::lookup));
    name(static_cast<bool (Class::*)(const String&) const noexcept>(&Class::has));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isEmpty));
    name(static_cast<int (Class::*)() const noexcept>(&Class::getCount));
    name(static_cast<const TArray<Class::Entry>& (Class::*)() const noexcept>(&Class::getEntries));
    name(static_cast<TMap<String, String> (Class::*)() const>(&Class::getMap));
}

void name_zet_CResourceManager() {
    using Class = zet::CResourceManager;
    using namespace zet;
    name(static_cast<Class::Path (Class::*)(const Class::Path&) const>(&Class::findResource));
    name(static_cast<void (Class::*)(const Class::Path&)>(&Class::addResourceFolder));
    name(static_cast<void (Class::*)(const Class::Path&)>(&Class::removeResourceFolder));
    name(static_cast<P<CResourceManager> (*)()>(&Class::get));
}

void name_zet_CSafeGlobalDisposer() {
    using Class = zet::CSafeGlobalDisposer;
    using namespace zet;
    name(static_cast<void (*)(void (*)())>(&Class::registerDisposer));
}

void name_zet_CSafeGlobalGuard() {
    using Class = zet::CSafeGlobalGuard;
    using namespace zet;
    name(static_cast<Class::State (Class::*)() const noexcept>(&Class::getState));
    name(static_cast<bool (Class::*)()>(&Class::claimConstruction));
    name(static_cast<void (Class::*)(bool) noexcept>(&Class::finishConstruction));
}

void name_zet_CSignal() {
    using Class = zet::CSignal;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    name(static_cast<void (Class::*)()>(&Class::set));
    name(static_cast<void (Class::*)()>(&Class::reset));
    name(static_cast<bool (Class::*)() const>(&Class::isSet));
    name(static_cast<bool (Class::*)(int)>(&Class::wait));
}

void name_zet_CTime() {
    using Class = zet::CTime;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isSet));
    name(static_cast<int64 (Class::*)() const noexcept>(&Class::getMicroseconds));
    name(static_cast<CTime (*)() noexcept>(&Class::now));
    name(static_cast<CTime (*)(int64) noexcept>(&Class::fromCTime));
    name(static_cast<CTime (*)(int64) noexcept>(&Class::fromMicroseconds));
}

void name_zet_CTimeSpan() {
    using Class = zet::CTimeSpan;
    using namespace zet;
    name(static_cast<CTimeSpan (*)(int64) noexcept>(&Class::fromMilliseconds));
    name(static_cast<CTimeSpan (*)(int64) noexcept>(&Class::fromSeconds));
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isSet));
    name(static_cast<int64 (Class::*)() const noexcept>(&Class::getMicroseconds));
    name(static_cast<int64 (Class::*)() const noexcept>(&Class::getMilliseconds));
    name(static_cast<CTimeSpan (*)(int64) noexcept>(&Class::fromMicroseconds));
    if (t_construct) {
        [[maybe_unused]] const Class object(any<std::chrono::milliseconds>());
    }
}

void name_zet_CURI() {
    using Class = zet::CURI;
    using namespace zet;
    name(static_cast<String (*)(const String&, bool, const String&)>(&Class::escape));
}

void name_zet_CXMLElement() {
    using Class = zet::CXMLElement;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>(), any<const CProps>());
    }
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getName));
    name(static_cast<const CProps& (Class::*)() const noexcept>(&Class::getAttributes));
    name(static_cast<const String& (Class::*)() const noexcept>(&Class::getText));
    name(static_cast<const TArray<P<CXMLElement>>& (Class::*)() const noexcept>(&Class::getChildren));
    name(static_cast<void (Class::*)(const String&, const String&)>(&Class::addAttribute));
    name(static_cast<void (Class::*)(const String&)>(&Class::setText));
    name(static_cast<void (Class::*)(CXMLElement*)>(&Class::addChild));
    name(static_cast<String (Class::*)() const>(&Class::toText));
}

void name_zet_P() {
    using Class = zet::P<vexil::CNetRequest>;
    using namespace zet;
    name(static_cast<Class (*)()>(&make<vexil::CNetRequest>));
    if (t_construct) {
        t_named += any<Class>() == any<P<IBase>>() ? 1 : 0;
        t_named += any<Class>() == any<IBase*>() ? 1 : 0;
        t_named += any<Class>() == nullptr ? 1 : 0;
        t_named += any<Class>() < any<P<IBase>>() ? 1 : 0;
        t_named += any<Class>() < any<IBase*>() ? 1 : 0;
    }
}

void name_zet_TScopeExit() {
    using Class = zet::TScopeExit<void (*)()>;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<void (*)()>());
    }
    name(static_cast<void (Class::*)() noexcept>(&Class::dismiss));
}

template <class Char>
void name_zet_ASCII() {
    using namespace zet;
    name(static_cast<bool (*)(Char) noexcept>(&isASCII<Char>));
    name(static_cast<bool (*)(Char) noexcept>(&isControl<Char>));
    name(static_cast<bool (*)(Char) noexcept>(&isDigit<Char>));
    name(static_cast<bool (*)(Char) noexcept>(&isHexDigit<Char>));
    name(static_cast<bool (*)(Char) noexcept>(&isAlpha<Char>));
    name(static_cast<bool (*)(Char) noexcept>(&isAlphanumeric<Char>));
    name(static_cast<Char (*)(Char) noexcept>(&toLower<Char>));
    using View = std::basic_string_view<Char>;
    name(static_cast<bool (*)(View, View) noexcept>(&equalsNoCase));
    name(static_cast<bool (*)(View, View) noexcept>(&startsWithNoCase));
}

void name_zet_ASCII_wide() {
    using namespace zet;
    name(static_cast<bool (*)(wchar_t) noexcept>(&isUnicodeControl<wchar_t>));
    name(static_cast<bool (*)(std::wstring_view, std::string_view) noexcept>(&equalsNoCase));
    name(static_cast<bool (*)(std::wstring_view, std::string_view) noexcept>(&startsWithNoCase));
}

void name_zet_IBase() {
    using Class = zet::IBase;
    using namespace zet;
    name(static_cast<void (Class::*)() const noexcept>(&Class::addRef));
    name(static_cast<void (Class::*)() const noexcept>(&Class::release));
}

void name_zet_IInStream() {
    using Class = zet::IInStream;
    using namespace zet;
    name(static_cast<int (Class::*)(void*, int)>(&Class::read));
    name(static_cast<int64 (Class::*)()>(&Class::getSize));
    name(static_cast<void (Class::*)(int64)>(&Class::seek));
    name(static_cast<int64 (Class::*)()>(&Class::getPosition));
}

void name_zet_ILogSink() {
    using Class = zet::ILogSink;
    using namespace zet;
    name(static_cast<void (Class::*)(const CLogMessage&)>(&Class::log));
}

void name_zet_IOutStream() {
    using Class = zet::IOutStream;
    using namespace zet;
    name(static_cast<void (Class::*)(const void*, int)>(&Class::write));
    name(static_cast<int64 (Class::*)()>(&Class::getSize));
    name(static_cast<void (Class::*)(int64)>(&Class::seek));
    name(static_cast<int64 (Class::*)()>(&Class::getPosition));
}

void name_zet_String() {
    using Class = zet::String;
    using namespace zet;
    name(static_cast<const wchar_t* (Class::*)() const noexcept>(&Class::c_str));
    name(static_cast<std::wstring_view (Class::*)() const noexcept>(&Class::view));
    name(static_cast<std::size_t (Class::*)(wchar_t, std::size_t) const noexcept>(&Class::find));
    name(static_cast<std::size_t (Class::*)(const String&, std::size_t) const noexcept>(&Class::find));
    name(static_cast<std::size_t (Class::*)(const char*, std::size_t) const noexcept>(&Class::find));
    name(static_cast<bool (Class::*)(const char*) const noexcept>(&Class::startsWith));
    name(static_cast<bool (Class::*)(const String&) const noexcept>(&Class::startsWith));
    name(static_cast<bool (Class::*)(const char*) const noexcept>(&Class::startsWithNoCase));
    name(static_cast<bool (Class::*)(const char*) const noexcept>(&Class::endsWith));
    name(static_cast<bool (Class::*)(const char*) const noexcept>(&Class::equalsNoCase));
    name(static_cast<void (Class::*)()>(&Class::trim));
    name(static_cast<void (Class::*)()>(&Class::trimLeft));
    name(static_cast<void (Class::*)()>(&Class::trimRight));
    name(static_cast<String& (Class::*)(const String&)>(&Class::operator+=));
    name(static_cast<String& (Class::*)(const char*)>(&Class::operator+=));
    name(static_cast<String& (Class::*)(wchar_t)>(&Class::operator+=));
    name(static_cast<void (Class::*)(std::wstring_view)>(&Class::append));
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const char*>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const wchar_t*>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<std::wstring>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<std::wstring_view>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const std::string>());
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<std::string_view>());
    }
    if (t_construct) {
        t_named += any<String>() == any<const std::string>() ? 1 : 0;
        t_named += any<String>() < any<const std::string>() ? 1 : 0;
        t_named += any<String>() == any<std::string_view>() ? 1 : 0;
        t_named += any<String>() < any<std::string_view>() ? 1 : 0;
        t_named += any<std::ostream>() << any<String>() ? 1 : 0;
        t_named += std::hash<String>()(any<String>()) != 0 ? 1 : 0;
    }
    name(static_cast<std::string (Class::*)() const>(&Class::operator std::string));
    name(static_cast<void (Class::*)(std::string_view)>(&Class::assignUTF8));
    name(static_cast<std::string (Class::*)() const>(&Class::toUTF8));
    name(static_cast<std::string (Class::*)() const>(&Class::toLatin1));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isEmpty));
    name(static_cast<std::size_t (Class::*)() const noexcept>(&Class::length));
    name(static_cast<wchar_t (Class::*)(std::size_t) const noexcept>(&Class::operator[]));
    name(static_cast<void (Class::*)() noexcept>(&Class::clear));
    name(static_cast<std::size_t (Class::*)(wchar_t) const noexcept>(&Class::findLast));
    name(static_cast<String (Class::*)(std::size_t, std::size_t) const>(&Class::substr));
    name(static_cast<String (Class::*)() const>(&Class::toLower));
    name(static_cast<String (Class::*)() const>(&Class::trimmed));
    name(static_cast<void (Class::*)() noexcept>(&Class::makeLower));
    name(static_cast<void (Class::*)(const String&, const String&)>(&Class::replaceAll));
    name(static_cast<void (Class::*)(std::size_t, std::size_t, const String&)>(&Class::replace));
    name(static_cast<void (Class::*)(std::wstring_view)>(&Class::assign));
    name(static_cast<String (*)(std::string_view)>(&Class::fromUTF8));
    name(static_cast<String (*)(std::string_view)>(&Class::fromUTF8Lossy));
    name(static_cast<String (*)(std::string_view)>(&Class::fromLatin1));
    name(static_cast<String (*)(int64)>(&Class::fromInt));
}

void name_vexil_CAsyncNetRequestManager() {
    using Class = vexil::CAsyncNetRequestManager;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    name(static_cast<void (Class::*)(int)>(&Class::setMaxConnections));
    name(static_cast<void (Class::*)(int)>(&Class::setMaxConnectionsPerHost));
    name(static_cast<void (Class::*)(int)>(&Class::setMaxTotalConnections));
    name(static_cast<void (Class::*)(bool)>(&Class::setPaused));
    name(static_cast<void (Class::*)(AsyncEngine)>(&Class::setEngine));
    name(&Class::setWaitForMultiplexing);
    name(static_cast<AsyncEngine (Class::*)() const noexcept>(&Class::getEngine));
    name(static_cast<void (Class::*)(CNetRequest*)>(&Class::addRequest));
    name(static_cast<bool (Class::*)(CNetRequest*)>(&Class::removeRequest));
    name(static_cast<void (Class::*)()>(&Class::removeAllRequests));
    name(static_cast<int (Class::*)() const noexcept>(&Class::getRequestCount));
    name(static_cast<int (Class::*)(TArray<P<CNetRequest>>*)>(&Class::handleEvents));
    name(static_cast<void (Class::*)(int)>(&Class::waitForEvents));
}

void name_vexil_CAsyncNetRequestThread() {
    using Class = vexil::CAsyncNetRequestThread;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<Class::IProgressHandler*>());
    }
    name(static_cast<void (Class::*)(AsyncEngine)>(&Class::setEngine));
    name(&Class::setMaxConnectionsPerHost);
    name(&Class::setMaxTotalConnections);
    name(&Class::setWaitForMultiplexing);
    name(static_cast<void (Class::*)(CNetRequest*)>(&Class::addRequest));
    name(static_cast<bool (Class::*)(CNetRequest*)>(&Class::removeRequest));
    name(static_cast<void (Class::*)()>(&Class::removeAllRequests));
    name(static_cast<void (Class::*)(CNetRequest*)>(&Class::restartRequest));
}

void name_vexil_CRetryBudget() {
    using Class = vexil::CRetryBudget;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<int>());
        [[maybe_unused]] const Class other(any<int>(), any<double>());
    }
    name(static_cast<bool (Class::*)()>(&Class::take));
    name(static_cast<void (Class::*)()>(&Class::onSuccess));
    name(static_cast<int (Class::*)() const>(&Class::getLeft));
}

void name_vexil_CTryLog() {
    using Class = vexil::CTryLog;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object;
        [[maybe_unused]] const CTryRecord record{.number = any<int>(),
                                                 .hasFailed = any<bool>(),
                                                 .start = zet::CTime(),
                                                 .duration = std::chrono::microseconds(1),
                                                 .uploadedBytes = any<int64>(),
                                                 .downloadedBytes = any<int64>(),
                                                 .curlCode = any<int>(),
                                                 .status = any<int>(),
                                                 .message = any<String>(),
                                                 .pause = std::chrono::milliseconds(1)};
    }
    name(static_cast<const TArray<CTryRecord>& (Class::*)() const noexcept>(&Class::getTries));
    name(static_cast<String (Class::*)() const>(&Class::toText));
    name(static_cast<Class (*)(const CError&)>(&Class::fromError));
    name(static_cast<void (Class::*)()>(&Class::begin));
    name(static_cast<void (Class::*)(CNetRequest&, const CError*)>(&Class::end));
    name(static_cast<void (Class::*)(std::chrono::milliseconds)>(&Class::setPause));
    name(static_cast<std::chrono::microseconds (Class::*)() const>(&Class::getDuration));
    name(static_cast<void (Class::*)(CError&) const>(&Class::attachTo));
    name(static_cast<const int*>(&Class::maxTries));
}

void name_vexil_ITransferMetrics() {
    using Class = vexil::ITransferMetrics;
    using namespace vexil;
    name(static_cast<void (Class::*)(int64, int64, std::chrono::microseconds) noexcept>(&Class::onRequest));
    name(static_cast<void (Class::*)(ErrorKind) noexcept>(&Class::onError));
    name(static_cast<void (Class::*)(std::chrono::milliseconds) noexcept>(&Class::onRetry));
}

void name_vexil_CTransferMetrics() {
    using Class = vexil::CTransferMetrics;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object;
    }
    using Count = int64 (Class::*)() const noexcept;
    name(static_cast<Count>(&Class::getRequestCount));
    name(static_cast<Count>(&Class::getErrorCount));
    name(static_cast<int64 (Class::*)(ErrorKind) const noexcept>(&Class::getErrorCount));
    name(static_cast<Count>(&Class::getRetryCount));
    name(static_cast<Count>(&Class::getUploadedByteCount));
    name(static_cast<Count>(&Class::getDownloadedByteCount));
}

void name_vexil_CRetryPolicy() {
    using Class = vexil::CRetryPolicy;
    using namespace vexil;
    using Failures = Class::Failures;
    using Milliseconds = Class::Milliseconds;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
        [[maybe_unused]] const Class other(any<Class::Settings>());
    }
    using Decide = std::optional<Milliseconds> (Class::*)(const CError&, Failures&, bool, Milliseconds);
    name(static_cast<Decide>(&Class::decidePause));
    name(static_cast<bool (Class::*)(const Failures&) const>(&Class::mayTryAgain));
    name(static_cast<void (Class::*)()>(&Class::onSuccess));
    name(static_cast<int64 (Class::*)() const noexcept>(&Class::getRetryCount));
    name(static_cast<Milliseconds (*)(const CNetRequest&)>(&Class::findRetryAfter));
    name(static_cast<bool (*)(const CNetRequest&, const CError&)>(&Class::hasMovedBytes));
    name(static_cast<const Milliseconds*>(&Class::firstPause));
    name(static_cast<const Milliseconds*>(&Class::maxPause));
    name(static_cast<const Milliseconds*>(&Class::defaultLimit));
    name(static_cast<const Milliseconds*>(&Class::defaultFirstLimit));
    name(static_cast<const int*>(&Class::maxBrokenTransfers));
    name(static_cast<Milliseconds Class::Settings::*>(&Class::Settings::limit));
    name(static_cast<Milliseconds Class::Settings::*>(&Class::Settings::firstLimit));
    name(static_cast<std::optional<int> Class::Settings::*>(&Class::Settings::maxRetries));
    name(static_cast<double Class::Settings::*>(&Class::Settings::randomShare));
    name(static_cast<double Class::Settings::*>(&Class::Settings::pauseFactor));
    name(
        static_cast<std::function<Class::Clock::time_point()> Class::Settings::*>(&Class::Settings::getTime));
    name(static_cast<std::function<double()> Class::Settings::*>(&Class::Settings::getRandom));
    using OnPause = std::function<void(const CError&, int, Milliseconds)>;
    name(static_cast<OnPause Class::Settings::*>(&Class::Settings::onPause));
    using Deadline = std::optional<Class::Clock::time_point>;
    name(static_cast<Deadline Class::Settings::*>(&Class::Settings::deadline));
    name(static_cast<P<CRetryBudget> Class::Settings::*>(&Class::Settings::budget));
    name(static_cast<std::function<bool(const CError&)> Class::Settings::*>(&Class::Settings::isTemporary));
    name(static_cast<bool (Class::*)(const CError&) const>(&Class::isTemporary));
    name(static_cast<int Failures::*>(&Failures::count));
    name(static_cast<int Failures::*>(&Failures::broken));
    name(static_cast<std::optional<Class::Clock::time_point> Failures::*>(&Failures::since));
}

void name_vexil_ITransfer() {
    using Class = vexil::ITransfer;
    using namespace vexil;
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::prepare));
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::checkResponse));
    name(static_cast<bool (Class::*)() const>(&Class::isComplete));
    name(static_cast<bool (Class::*)(CNetRequest&, const CError&)>(&Class::canBeginAgain));
    name(static_cast<bool (Class::*)(CNetRequest&, const CError&)>(&Class::canFallBack));
}

void name_vexil_ITransferJob() {
    using Class = vexil::ITransferJob;
    using namespace vexil;
    name(static_cast<ITransfer& (Class::*)()>(&Class::getTransfer));
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::onAttach));
    name(static_cast<void (Class::*)(CNetRequest&) noexcept>(&Class::onDetach));
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::onSuccess));
    name(static_cast<void (Class::*)(const CError&)>(&Class::onFailure));
    name(static_cast<void (Class::*)(const CTryLog&)>(&Class::onTries));
    using RequestFunction = std::function<void(CNetRequest&)>;
    using Make = P<Class> (*)(RequestFunction, RequestFunction, std::function<void(const CError&)>);
    name(static_cast<Make>(&makeTransferJob));
}

void name_vexil_ITransferPolicy() {
    using Class = vexil::ITransferPolicy;
    using namespace vexil;
    using Failures = CRetryPolicy::Failures;
    using Decide =
        std::optional<std::chrono::milliseconds> (Class::*)(CNetRequest&, const CError&, Failures&);
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::checkResult));
    name(static_cast<Decide>(&Class::decideRetry));
    name(static_cast<Decide>(&Class::decidePause));
    name(static_cast<bool (Class::*)(const Failures&) const>(&Class::mayTryAgain));
    name(static_cast<bool (Class::*)(CNetRequest&, const CError&) const>(&Class::isRefusedConnection));
    name(static_cast<P<CNetRequest> (Class::*)() const>(&Class::getOwnRequest));
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::performHere));
}

void name_vexil_CTransferPolicy() {
    using Class = vexil::CTransferPolicy;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
        [[maybe_unused]] const Class other(any<CRetryPolicy::Settings>(), Class::Repeat::Always);
    }
    t_named += Class::Repeat::IfSafe != Class::Repeat::Always ? 1 : 0;
    using Failures = CRetryPolicy::Failures;
    using Decide =
        std::optional<std::chrono::milliseconds> (Class::*)(CNetRequest&, const CError&, Failures&);
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::checkResult));
    name(static_cast<Decide>(&Class::decideRetry));
    name(static_cast<Decide>(&Class::decidePause));
    name(static_cast<bool (Class::*)(const Failures&) const>(&Class::mayTryAgain));
    name(static_cast<int64 (Class::*)() const noexcept>(&Class::getRetryCount));
}

void name_vexil_ITransferObserver() {
    using Class = vexil::ITransferObserver;
    using namespace vexil;
    name(static_cast<void (Class::*)()>(&Class::checkContinue));
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::onStart));
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::onProgress));
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::onEnd));
    name(static_cast<void (Class::*)(int)>(&Class::onFewerTransfers));
    name(static_cast<void (Class::*)()>(&Class::onOneConnection));
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::onFatalFailure));
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::onGivenUp));
}

void name_vexil_CTransferQueue() {
    using Class = vexil::CTransferQueue;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<ITransferPolicy*>());
        [[maybe_unused]] const Class other(any<ITransferPolicy*>(), 1, any<ITransferObserver*>());
    }
    name(static_cast<void (Class::*)(CCancelToken*)>(&Class::setCancelToken));
    name(static_cast<void (Class::*)(CPauseToken*)>(&Class::setPauseToken));
    name(static_cast<void (Class::*)(bool)>(&Class::setRecordsTries));
    name(static_cast<void (Class::*)(ITransferMetrics*)>(&Class::setMetrics));
    name(static_cast<void (Class::*)(CRateLimit*)>(&Class::setRateLimit));
    name(static_cast<void (Class::*)(P<ITransferJob>)>(&Class::start));
    name(static_cast<void (Class::*)(P<ITransferJob>, int)>(&Class::add));
    name(static_cast<void (Class::*)()>(&Class::finishOne));
    name(static_cast<void (Class::*)()>(&Class::wake));
    name(static_cast<void (Class::*)()>(&Class::finish));
    name(static_cast<const int*>(&Class::defaultCount));
}

void name_vexil_CAsyncNetRequestThread_IProgressHandler() {
    using Class = vexil::CAsyncNetRequestThread::IProgressHandler;
    using namespace vexil;
    name(static_cast<void (Class::*)()>(&Class::onProgress));
}

void name_vexil_CFTPClient() {
    using Class = vexil::CFTPClient;
    using namespace vexil;
    name(static_cast<Class (*)(const String&, const String&, const String&)>(&Class::fromURL));
    name(static_cast<Class (*)(const String&, const String&, const String&, Class::ConnectType)>(
        &Class::fromURL));
    name(static_cast<Class (*)(const String&, int, const String&, const String&, Class::ConnectType)>(
        &Class::fromHost));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const void*, int, bool)>(
        &Class::prepareUploadRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, zet::IInStream*, int64, bool)>(
        &Class::prepareUploadRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const TBuffer<unsigned char>&, bool)>(
        &Class::prepareUploadRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::prepareDeleteFileRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::deleteFile));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, bool)>(
        &Class::prepareMoveFileRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, const String&, bool)>(
        &Class::prepareMoveDirRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::prepareListDirRequest));
    name(static_cast<P<CFTPListDirResult> (Class::*)(CNetRequest&, const String&)>(&Class::listDir));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, bool)>(&Class::prepareCreateDirRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, bool)>(&Class::createDir));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::prepareRemoveDirRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::removeDir));
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>(), any<const String>(), any<const String>(),
                                            any<Class::ConnectType>());
    }
    name(static_cast<void (Class::*)(Class::CWDType)>(&Class::setOverrideCWDType));
    name(static_cast<void (Class::*)(Class::PathEncoding)>(&Class::setPathEncoding));
    name(static_cast<void (Class::*)(bool)>(&Class::setVerifyCertificate));
    name(static_cast<void (Class::*)(TLSVersion)>(&Class::setMaxTLSVersion));
    name(static_cast<void (Class::*)(bool)>(&Class::setDeletionGuard));
    name(static_cast<void (Class::*)(INetRequestSetup*)>(&Class::setRequestSetup));
    name(static_cast<void (Class::*)(CNetRequest&, const String&, int64, int64)>(
        &Class::prepareDownloadRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::prepareGetInfoRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::prepareVerifyExistsRequest));
    name(static_cast<void (Class::*)(CNetRequest&, const String&)>(&Class::deleteDirWithAllContents));
    name(static_cast<String (*)(Class::CWDType)>(&Class::cwdTypeToString));
    name(static_cast<bool (*)(const String&)>(&Class::isRootPath));
    name(static_cast<void (*)(CNetRequest&)>(&Class::checkListed));
}

void name_vexil_CFTPDirEntry() {
    using Class = vexil::CFTPDirEntry;
    using namespace vexil;
    name(static_cast<String (Class::*)() const>(&Class::getName));
    name(static_cast<void (Class::*)(const String&)>(&Class::setName));
    name(static_cast<zet::CTime (Class::*)() const>(&Class::getModifiedTime));
    name(static_cast<void (Class::*)(const zet::CTime&)>(&Class::setModifiedTime));
    name(static_cast<zet::IFileInfoBase::Type (Class::*)() const>(&Class::getType));
    name(static_cast<void (Class::*)(zet::IFileInfoBase::Type)>(&Class::setType));
    name(static_cast<int64 (Class::*)() const>(&Class::getSize));
    name(static_cast<void (Class::*)(int64)>(&Class::setSize));
    name(static_cast<String (Class::*)() const>(&Class::getUniqueID));
    name(static_cast<void (Class::*)(const String&)>(&Class::setUniqueID));
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>());
    }
    name(static_cast<zet::CTime (*)(const String&)>(&Class::parseTimeValue));
}

void name_vexil_CFTPGetInfoResult() {
    using Class = vexil::CFTPGetInfoResult;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CNetStringList>());
    }
    name(static_cast<PC<CFTPDirEntry> (Class::*)() const>(&Class::getInfo));
}

void name_vexil_CFTPListDirResult() {
    using Class = vexil::CFTPListDirResult;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const TBuffer<unsigned char>>());
    }
    name(static_cast<const TArray<P<CFTPDirEntry>>& (Class::*)() const noexcept>(&Class::getEntries));
    name(static_cast<const TArray<std::string>& (Class::*)() const noexcept>(&Class::getUnreadableLines));
    name(static_cast<CFTPListDirResult (*)(const TBuffer<unsigned char>&)>(&Class::parseLeniently));
}

void name_vexil_CHTTPContentRange() {
    using Class = vexil::CHTTPContentRange;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>(), any<int64>(), any<int64>(), any<int64>());
    }
    name(static_cast<String (Class::*)() const>(&Class::getUnit));
    name(static_cast<int64 (Class::*)() const noexcept>(&Class::getFirst));
    name(static_cast<int64 (Class::*)() const noexcept>(&Class::getLast));
    name(static_cast<int64 (Class::*)() const noexcept>(&Class::getEntireContentSize));
    name(static_cast<P<CHTTPContentRange> (*)(const String&)>(&Class::parse));
}

void name_vexil_CMimeMessage() {
    using Class = vexil::CMimeMessage;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>());
    }
    name(static_cast<TMap<String, String>& (Class::*)() noexcept>(&Class::getHeaders));
    name(static_cast<void (Class::*)(const TBuffer<unsigned char>*, const String&)>(&Class::setBody));
    name(static_cast<void (Class::*)(const String&)>(&Class::setTextBody));
    name(static_cast<void (Class::*)(zet::IOutStream&) const>(&Class::store));
    name(static_cast<void (Class::*)(zet::IOutStream&) const>(&Class::storeHeader));
    name(static_cast<void (Class::*)(zet::IOutStream&) const>(&Class::storeBody));
    name(static_cast<void (Class::*)(CNetHeaders&)>(&Class::updateNetHeaders));
    name(static_cast<void (Class::*)(CNetRequest&)>(&Class::fillRequest));
    name(static_cast<P<CMimeMessage> (*)(const String&, const String&, const TBuffer<unsigned char>*)>(
        &Class::createAttachment));
    name(static_cast<String (*)(const String&)>(&Class::toEncodedWord));
    name(static_cast<String (*)(const String&)>(&Class::toHeaderText));
    name(static_cast<String (*)(const String&)>(&Class::toQuotedString));
}

void name_vexil_CMultiPartMimeMessage() {
    using Class = vexil::CMultiPartMimeMessage;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>());
    }
    name(static_cast<void (Class::*)(const CMimeMessage*)>(&Class::addPart));
    name(static_cast<String (Class::*)() const>(&Class::getBoundary));
    name(static_cast<void (Class::*)(const TBuffer<unsigned char>*, const String&)>(&Class::setBody));
    name(static_cast<void (Class::*)(zet::IOutStream&) const>(&Class::storeBody));
}

void name_vexil_CSMTPClient() {
    using Class = vexil::CSMTPClient;
    using namespace vexil;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CSMTPParams>());
    }
    name(static_cast<void (Class::*)(bool)>(&Class::setVerifyCertificate));
    name(static_cast<void (Class::*)(const TPathImpl<CWindowsPathTraits>&)>(&Class::setRootCertBundlePath));
    name(static_cast<void (Class::*)(INetRequestSetup*)>(&Class::setRequestSetup));
    name(static_cast<void (Class::*)(const String&, const TArray<String>&, const TBuffer<unsigned char>&)>(
        &Class::sendMail));
    name(static_cast<void (Class::*)(const String&, const TArray<String>&, const CMimeMessage&)>(
        &Class::sendMail));
    name(static_cast<void (Class::*)()>(&Class::testConnection));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::mayHaveBeenSent));
    name(static_cast<const CNetRequest& (Class::*)() const noexcept>(&Class::getRequest));
    name(static_cast<void (Class::*)(CCancelToken*)>(&Class::setCancelToken));
    name(static_cast<void (*)(CNetRequest&, const CSMTPParams&, const String&, const TArray<String>&,
                              zet::IInStream*)>(&Class::makeSendMailRequest));
    name(static_cast<String (*)(const zet::CTimeFields&)>(&Class::getDateHeaderString));
}

void name_vexil_CSMTPParams() {
    using Class = vexil::CSMTPParams;
    using namespace vexil;
    name(static_cast<Class (*)(const String&, const String&, const String&)>(&Class::fromURL));
    name(static_cast<Class (*)(const String&, const String&, const String&, Class::ConnectType)>(
        &Class::fromURL));
    name(static_cast<Class (*)(const String&, int, Class::ConnectType, const String&, const String&)>(
        &Class::fromHost));
    name(static_cast<String (Class::*)() const>(&Class::getHost));
    name(static_cast<int (Class::*)() const>(&Class::getPort));
    name(static_cast<Class::ConnectType (Class::*)() const>(&Class::getConnectType));
    name(static_cast<String (Class::*)() const>(&Class::getLoginName));
    name(static_cast<String (Class::*)() const>(&Class::getLoginPassword));
    name(static_cast<String (*)(Class::ConnectType)>(&Class::connectTypeToString));
    name(static_cast<Class::ConnectType (*)(const String&)>(&Class::connectTypeToInt));
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const String>(), any<int>(), any<Class::ConnectType>(),
                                            any<const String>(), any<const String>());
    }
}

void name_vexil_IAsyncNetRequestManager() {
    using Class = vexil::IAsyncNetRequestManager;
    using namespace vexil;
    name(static_cast<void (Class::*)(CNetRequest*)>(&Class::addRequest));
    name(static_cast<bool (Class::*)(CNetRequest*)>(&Class::removeRequest));
}

void name_zet_CMTRand() {
    using Class = zet::CMTRand;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<uint64>());
    }
    name(static_cast<uint64 (Class::*)()>(&Class::rand64));
    name(static_cast<CMTRand* (*)()>(&Class::getGlobal));
    name(static_cast<CMutex& (*)()>(&Class::getGlobalInstanceMutex));
}

void name_zet_CPosixSelect() {
    using Class = zet::CPosixSelect;
    using namespace zet;
    name(static_cast<bool (*)(std::intptr_t) noexcept>(&Class::canSelect));
}

void name_zet_CThread() {
    using Class = zet::CThread;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object(any<IRunnable*>(), any<bool>());
    }
    name(static_cast<void (Class::*)(const String&)>(&Class::setThreadName));
    name(static_cast<String (Class::*)() const>(&Class::getThreadName));
    name(static_cast<void (Class::*)()>(&Class::start));
    name(static_cast<void (Class::*)(bool)>(&Class::stop));
    name(static_cast<bool (Class::*)() const noexcept>(&Class::isAlive));
    name(static_cast<P<CError> (Class::*)() const>(&Class::getError));
    name(static_cast<Class::ID (Class::*)() const noexcept>(&Class::getID));
    name(static_cast<bool (Class::*)()>(&Class::checkContinue));
    name(static_cast<Class::ID (*)() noexcept>(&Class::getCurrentID));
    name(static_cast<void (*)(int)>(&Class::sleep));
}

void name_zet_CTimeFields() {
    using Class = zet::CTimeFields;
    using namespace zet;
    if (t_construct) {
        [[maybe_unused]] const Class object{};
    }
    if (t_construct) {
        [[maybe_unused]] const Class object(any<const CTime>(), any<Class::FieldType>());
    }
    name(static_cast<void (Class::*)(int, int, int, int) noexcept>(&Class::setDate));
    name(static_cast<void (Class::*)(int, int, int) noexcept>(&Class::setTime));
    name(static_cast<void (Class::*)(double) noexcept>(&Class::setFractSecond));
    name(static_cast<void (Class::*)(int)>(&Class::setTimeZone));
    name(static_cast<CTime (Class::*)() const noexcept>(&Class::toTime));
    name(static_cast<int (Class::*)() const noexcept>(&Class::getYear));
    name(static_cast<int (Class::*)() const noexcept>(&Class::getMonth));
    name(static_cast<int (Class::*)() const noexcept>(&Class::getDay));
    name(static_cast<int (Class::*)() const noexcept>(&Class::getWeekDay));
    name(static_cast<int (Class::*)() const noexcept>(&Class::getHour));
    name(static_cast<int (Class::*)() const noexcept>(&Class::getMinute));
    name(static_cast<int (Class::*)() const noexcept>(&Class::getSecond));
    name(static_cast<int (Class::*)() const noexcept>(&Class::getMicrosecond));
    name(static_cast<String (Class::*)() const>(&Class::toInternetTimestamp));
    name(static_cast<String (Class::*)(int) const>(&Class::toISODateTime));
    name(static_cast<String (Class::*)(const String&) const>(&Class::getInternetTimeZoneString));
    name(static_cast<String (*)(int)>(&Class::getEnglishWeekDayAbbrev));
    name(static_cast<String (*)(int)>(&Class::getEnglishMonthAbbrev));
}

void name_zet_IRunnable() {
    using Class = zet::IRunnable;
    using namespace zet;
    name(static_cast<void (Class::*)(CThread&)>(&Class::run));
}

void name_sigil() {
    using namespace sigil;
    name(static_cast<zet::String (*)(const void*, int, bool, bool)>(&sigil::base64Encode));
    name(static_cast<void (*)(zet::TBuffer<unsigned char>&, const void*, int, const void*, int)>(
        &sigil::calcHMAC_SHA1));
    name(static_cast<void (*)(zet::TBuffer<unsigned char>&, const void*, int, const void*, int)>(
        &sigil::calcHMAC_SHA256));
    name(static_cast<zet::String (*)(const void*, int)>(&sigil::hexEncode));
    name(static_cast<zet::String (*)(const zet::TBuffer<unsigned char>&)>(&sigil::hexEncode));
}

void name_vexil() {
    using namespace vexil;
    name(static_cast<int (*)(const CError&)>(&vexil::getHTTPStatusCodeFromError));
    name(static_cast<int (*)(const CProps&)>(&vexil::getHTTPStatusCodeFromErrorParams));
    name(static_cast<bool (*)(const std::exception&)>(&vexil::isNetworkOrServiceDownError));
    name(static_cast<bool (*)(const std::exception&)>(&vexil::isOutageError));
    name(static_cast<bool (*)(const std::exception&)>(&vexil::isTransientError));
    name(static_cast<vexil::ErrorKind (*)(int) noexcept>(&vexil::getKindOfHTTPStatus));
    name(static_cast<CError (*)(const String&)>(&vexil::makeTransientError));
    name(static_cast<void (*)(const String&, int&, String&)>(&vexil::parseHTTPStatusLine));
    name(static_cast<int (*)(const String&)>(&vexil::getStatusCodeFromHTTPStatusLine));
    name(static_cast<String (*)(const String&)>(&vexil::getInfoFromHTTPStatusLine));
    name(static_cast<TPathImpl<CWindowsPathTraits> (*)()>(&vexil::getRootCertBundlePath));
    name(static_cast<P<CNetRequest::IDataSource> (*)(const CNetRequest&)>(&vexil::getSendDataSource));
    name(static_cast<CTransferTimings (*)(const CNetRequest&)>(&vexil::getTimings));
    name(static_cast<void (*)(CNetRequest&, CSharedConnections*) noexcept>(&vexil::setSharedConnections));
    name(static_cast<void (*)(CNetRequest&, CRateLimit*)>(&vexil::setRateLimit));
    name(static_cast<P<CRateLimit> (*)(const CNetRequest&)>(&vexil::getRateLimit));
    name(static_cast<void (*)(CNetRequest&, const CTransferBuffers&)>(&vexil::setTransferBuffers));
    name(static_cast<const char* (*)() noexcept>(&vexil::getVersion));
    name(static_cast<String (*)(const String&, bool)>(&vexil::urlEscape));
    name(static_cast<String (*)(const String&, bool)>(&vexil::urlUnescape));
    name(static_cast<String (*)(const String&)>(&vexil::redactURL));
    name(static_cast<String (*)(const String&)>(&vexil::redactURLs));
    name(static_cast<String (*)(const String&, bool)>(&vexil::formURLEncode));
    name(static_cast<String (*)(const std::map<String, String>&, bool)>(&vexil::formURLEncode));
    name(static_cast<String (*)(const CProps&, bool)>(&vexil::formURLEncode));
    name(static_cast<String (*)(const TMap<String, String>&)>(&vexil::encodeURLParams));
    name(static_cast<void (*)(const String&, TMap<String, String>&)>(&vexil::decodeURLParams));
    name(
        static_cast<String (*)(const String&, TMap<String, String>&)>(&vexil::parseContentDispositionHeader));
    name(static_cast<zet::CTime (*)(const String&)>(&vexil::parseTimestamp));
    name(static_cast<bool (*)(const String&)>(&vexil::isValidEmailAddress));
    name(static_cast<P<TBuffer<unsigned char>> (*)(const TBuffer<unsigned char>&)>(&vexil::encodeBase64Body));
    name(static_cast<P<TBuffer<unsigned char>> (*)(const TBuffer<unsigned char>&)>(
        &vexil::encodeQuotedPrintableBody));
    name(static_cast<String (*)(const String&, const String&)>(&vexil::makeAddress));
}

void name_zet() {
    using namespace zet;
    name(static_cast<void (*)(const String&) noexcept>(&zet::logInfo));
    name(static_cast<void (*)(const String&) noexcept>(&zet::logWarning));
    name(static_cast<void (*)(const std::exception&, const String&, const String&) noexcept>(
        &zet::logWarning));
    name(static_cast<void (*)(const String&) noexcept>(&zet::logError));
    name(static_cast<void (*)(const std::exception&, const String&, const String&) noexcept>(&zet::logError));
    name(static_cast<void (*)(const CXMLElement&, const String&, const String&) noexcept>(&zet::logError));
    name(static_cast<void (*)()>(&zet::throwBufferTooLarge));
    name(static_cast<void (*)(const char*)>(&zet::throwNegativeBufferSize));
    name(static_cast<P<CError> (*)() noexcept>(&zet::currentExceptionToError));
    name(static_cast<ErrorKind (*)(int) noexcept>(&zet::getKindOfSystemError));
    name(static_cast<String (*)(const String&)>(&zet::toDisplayText));
    name(static_cast<String (*)(const std::filesystem::path&)>(&zet::toDisplayPath));
    name(static_cast<String (*)(int)>(&zet::describeSystemError));
    name(static_cast<void (*)(ILogSink*)>(&zet::setLogSink));
    name(static_cast<P<ILogSink> (*)()>(&zet::getLogSink));
    name(static_cast<void (*)(const char*, const std::exception*) noexcept>(
        &zet::onExceptionInDestructorIgnored));
    name(static_cast<int64 (*)(const String&, bool)>(&zet::parseInt64Strictly));
    name(static_cast<int64 (*)(const String&, int64) noexcept>(&zet::parseInt64));
    name(static_cast<double (*)(const String&, double)>(&zet::parseSimpleDouble));
    name(static_cast<void (*)()>(&zet::throwStaticConstructionFailed));
    name(static_cast<bool (*)(wchar_t) noexcept>(&zet::isWhiteSpace));
    name(static_cast<bool (*)(char32_t) noexcept>(&zet::isXMLCharacter));
    name(static_cast<bool (*)(std::wstring_view, std::size_t) noexcept>(&zet::isXMLCharacter));
    name(static_cast<std::wstring_view (*)(std::wstring_view) noexcept>(&zet::trimmed));
    name(static_cast<void (*)(bool)>(&zet::threadYield));
}

void name_vexil_CCurlDeleter() {
    using Class = vexil::CCurlDeleter;
    using namespace vexil;
    name(static_cast<void (Class::*)(CURL*) const noexcept>(&Class::operator()));
    name(static_cast<void (Class::*)(curl_slist*) const noexcept>(&Class::operator()));
    name(static_cast<void (Class::*)(char*) const noexcept>(&Class::operator()));
}

void name_vexil_CCurlMultiDeleter() {
    using Class = vexil::CCurlMultiDeleter;
    name(static_cast<void (Class::*)(CURLM*) const noexcept>(&Class::operator()));
}

void name_zet_CWindowsPathTraits() {
    using Class = zet::CWindowsPathTraits;
    using namespace zet;
    name(static_cast<wchar_t (*)() noexcept>(&Class::getSeparator));
    name(static_cast<bool (*)(wchar_t) noexcept>(&Class::isSeparator));
    name(static_cast<bool (*)(const String&) noexcept>(&Class::isAbsolute));
}

TEST(SurfaceTest, NamesEverythingPublic) {
    name(static_cast<zet::int64 (*)(const zet::String&, bool)>(&zet::parseInt64<bool>));
    name_sigil_CDigestType_CRC32();
    name_sigil_CDigestType_CRC32C();
    name_sigil_CDigestType_CRC64NVME();
    name_sigil_CDigestType_MD5();
    name_sigil_CDigestType_SHA256();
    name_sigil_COpenSSLInit();
    name_sigil_IDigest();
    name_sigil_IDigestType();
    name_vexil_CCURLError();
    name_vexil_CCancelToken();
    name_vexil_CPauseToken();
    name_vexil_CSharedConnections();
    name_vexil_CRateLimit();
    name_vexil_CNetReply();
    name_vexil_CGlobalInit();
    name_vexil_CHTTPServerHeader();
    name_vexil_CHeaderAssembler();
    name_vexil_CNetHeaders();
    name_vexil_CNetHeaders_CIterator();
    name_vexil_CNetRequest();
    name_vexil_CNetRequest_CStreamDataSink();
    name_vexil_CNetRequest_CStreamDataSource();
    name_vexil_CNetRequest_IDataSink();
    name_vexil_CNetRequest_IDataSource();
    name_vexil_CNetRequest_IDoneListener();
    name_vexil_CNetRequest_ICancelWaker();
    name_vexil_CNetRequest_IRestartableDataSink();
    name_vexil_CNetRequest_ITransferProgress();
    name_vexil_CNetStringList();
    name_vexil_CNetStringList_CIterator();
    name_vexil_CProxyPattern();
    name_vexil_CProxyDecision();
    name_vexil_CProxyRules();
    name_vexil_CProxySettings();
    name_vexil_CS3Client();
    name_vexil_CS3CopyObjectResult();
    name_vexil_CS3BucketList();
    name_vexil_CS3PartList();
    name_vexil_S3Listings();
    name_listing<vexil::CS3VersionEnum, vexil::CS3ObjectVersion>();
    name_listing<vexil::CS3UploadEnum, vexil::CS3PendingUpload>();
    name_vexil_CS3DeleteResult();
    name_vexil_CS3Error();
    name_vexil_CS3ErrorResponse();
    name_vexil_S3Credentials();
    name_vexil_S3Transfers();
    name_vexil_S3Options();
    name_vexil_CS3SigningDetour();
    name_vexil_CS3SigningError();
    name_vexil_CS3ListObjectsElement();
    name_vexil_CS3ListObjectsResult();
    name_vexil_CS3ObjectEnum();
    name_vexil_CS3ObjectEnum_CIterator();
    name_vexil_function_adapters();
    name_vexil_CServerInfo();
    name_vexil_INetRequestSetup();
    name_zet_CBufferStream();
    name_zet_CError();
    name_zet_CInvalidArgError();
    name_zet_CFileInStream();
    name_zet_CFileOutStream();
    name_zet_CMemoryInStream();
    name_zet_CNativeFile();
    name_zet_CLockedFile();
    name_zet_CMutex();
    name_zet_CMutexLock();
    name_zet_CProps();
    name_zet_CResourceManager();
    name_zet_CSafeGlobalDisposer();
    name_vexil_IUserProxySource();
    name_zet_CSafeGlobalGuard();
    name_zet_CSignal();
    name_zet_CTime();
    name_zet_CTimeSpan();
    name_zet_CURI();
    name_zet_CXMLElement();
    name_zet_P();
    name_zet_TScopeExit();
    name_zet_ASCII<char>();
    name_zet_ASCII<wchar_t>();
    name_zet_ASCII_wide();
    name_zet_IBase();
    name_zet_IInStream();
    name_zet_ILogSink();
    name_zet_IOutStream();
    name_zet_String();
    name_vexil_CAsyncNetRequestManager();
    name_vexil_CAsyncNetRequestThread();
    name_vexil_CAsyncNetRequestThread_IProgressHandler();
    name_vexil_CRetryBudget();
    name_vexil_CTryLog();
    name_vexil_ITransferMetrics();
    name_vexil_CTransferMetrics();
    name_vexil_CRetryPolicy();
    name_vexil_ITransfer();
    name_vexil_ITransferJob();
    name_vexil_ITransferPolicy();
    name_vexil_CTransferPolicy();
    name_vexil_ITransferObserver();
    name_vexil_CTransferQueue();
    name_vexil_CFTPClient();
    name_vexil_CFTPDirEntry();
    name_vexil_CFTPGetInfoResult();
    name_vexil_CFTPListDirResult();
    name_vexil_CHTTPContentRange();
    name_vexil_CMimeMessage();
    name_vexil_CMultiPartMimeMessage();
    name_vexil_CSMTPClient();
    name_vexil_CSMTPParams();
    name_vexil_IAsyncNetRequestManager();
    name_zet_CMTRand();
    name_zet_CPosixSelect();
    name_zet_CThread();
    name_zet_CTimeFields();
    name_zet_IRunnable();
    name_sigil();
    name_vexil();
    name_zet();
    name_vexil_CCurlDeleter();
    name_vexil_CCurlMultiDeleter();
    name_zet_CWindowsPathTraits();
    EXPECT_GT(t_named, 0);
}

}  // namespace

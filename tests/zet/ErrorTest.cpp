#include "zet/Error.h"

#include "zet/InvalidArgError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <map>
#include <new>
#include <stdexcept>
#include <thread>

namespace {

using zet::CError;
using zet::CInvalidArgError;
using zet::CProps;
using zet::ErrorKind;
using zet::P;
using zet::String;

CProps someProps() {
    CProps props;
    props.add("url", "http://x/");
    return props;
}

template <class Base, class Work>
bool throwsAs(const Work& work) {
    try {
        work();
    } catch (const Base&) {
        return true;
    } catch (...) {
    }
    return false;
}

template <class Work>
P<CError> converted(const Work& work) {
    try {
        work();
    } catch (...) {
        return zet::currentExceptionToError();
    }
    return nullptr;
}

TEST(ErrorTest, HasAMessageAndNothingElseByDefault) {
    const CError error("It broke.");
    EXPECT_EQ(error.getMessage(), "It broke.");
    EXPECT_EQ(error.getDomain(), "");
    EXPECT_EQ(error.getCode(), -1);
    EXPECT_TRUE(error.getProps().isEmpty());
    EXPECT_EQ(error.getInnerError(), nullptr);
}

TEST(ErrorTest, KeepsAllConstructorArguments) {
    const P<CError> inner = new CError("inside");
    const CError error("m", "http", 5000000000, someProps(), inner);
    EXPECT_EQ(error.getMessage(), "m");
    EXPECT_EQ(error.getDomain(), "http");
    EXPECT_EQ(error.getCode(), 5000000000);
    EXPECT_EQ(error.getProps().lookup("url"), "http://x/");
    EXPECT_EQ(error.getInnerError().get(), inner.get());
}

TEST(ErrorTest, HasAKind) {
    EXPECT_EQ(CError("m").getKind(), ErrorKind::Other);
    EXPECT_EQ(CError("m", "http", 404).getKind(), ErrorKind::Other) << "the base library knows no protocol";
    EXPECT_EQ(CInvalidArgError("place", "m").getKind(), ErrorKind::InvalidArgument);
    EXPECT_EQ(converted([] { throw std::bad_alloc(); })->getKind(), ErrorKind::OutOfMemory);
    EXPECT_EQ(converted([] { throw std::runtime_error("m"); })->getKind(), ErrorKind::Other);
    CError error("m");
    error.setKind(ErrorKind::NotFound);
    EXPECT_EQ(error.getKind(), ErrorKind::NotFound);
    EXPECT_EQ(error.clone()->getKind(), ErrorKind::NotFound);
    EXPECT_EQ(CError(error).getKind(), ErrorKind::NotFound);
    EXPECT_EQ(converted([&] { throw error; })->getKind(), ErrorKind::NotFound);
}

TEST(ErrorTest, AnErrorOfTheSystemHasTheKindOfItsNumber) {
    const std::map<int, ErrorKind> kinds = {
        {EINVAL, ErrorKind::InvalidArgument}, {ENAMETOOLONG, ErrorKind::InvalidArgument},
        {ENOMEM, ErrorKind::OutOfMemory},     {ECONNRESET, ErrorKind::Network},
        {ETIMEDOUT, ErrorKind::Timeout},      {EACCES, ErrorKind::PermissionDenied},
        {EPERM, ErrorKind::PermissionDenied}, {EROFS, ErrorKind::PermissionDenied},
        {ENOENT, ErrorKind::NotFound},        {ENOTDIR, ErrorKind::NotFound},
        {EEXIST, ErrorKind::Conflict},        {ENOTEMPTY, ErrorKind::Conflict},
        {ENOSPC, ErrorKind::StorageFull},     {EFBIG, ErrorKind::StorageFull},
        {ECANCELED, ErrorKind::Cancelled},    {EIO, ErrorKind::Other},
    };
    for (const auto& [code, kind] : kinds) {
        EXPECT_EQ(CError("m", "system", code).getKind(), kind) << code;
        EXPECT_EQ(zet::getKindOfSystemError(code), kind) << code;
        EXPECT_EQ(CError("m", "other", code).getKind(), ErrorKind::Other) << code;
        EXPECT_EQ(CError("m", "system", code + (zet::int64{1} << 32)).getKind(), ErrorKind::Other) << code;
    }
    EXPECT_EQ(CError("m", "system").getKind(), ErrorKind::Other);
    EXPECT_EQ(zet::getKindOfSystemError(0), ErrorKind::Other);
}

TEST(ErrorTest, GivesItsMessageAsUTF8) {
    const CError error(String(L"\u00E4\u20AC"));
    EXPECT_STREQ(error.what(), "\xC3\xA4\xE2\x82\xAC");
    const CError copy = error;
    EXPECT_STREQ(copy.what(), "\xC3\xA4\xE2\x82\xAC");
    EXPECT_NE(copy.what(), error.what()) << "each lives as long as its error";
}

TEST(ErrorTest, IsCaughtAsEachOfItsBases) {
    const auto work = [] { throw CError("m"); };
    EXPECT_TRUE(throwsAs<CError>(work));
    EXPECT_TRUE(throwsAs<std::exception>(work));
    EXPECT_TRUE(throwsAs<zet::CBase>(work));
    EXPECT_TRUE(throwsAs<zet::IBase>(work));
    EXPECT_FALSE(throwsAs<CInvalidArgError>(work));
}

TEST(ErrorTest, ClonesAllItsParts) {
    const P<CError> inner = new CError("inside");
    const CError error("m", "curl", 7, someProps(), inner);
    const P<CError> clone = error.clone();
    ASSERT_NE(clone, nullptr);
    EXPECT_NE(clone.get(), &error);
    EXPECT_EQ(typeid(*clone), typeid(CError));
    EXPECT_EQ(clone->getMessage(), "m");
    EXPECT_EQ(clone->getDomain(), "curl");
    EXPECT_EQ(clone->getCode(), 7);
    EXPECT_EQ(clone->getProps().lookup("url"), "http://x/");
    EXPECT_EQ(clone->getInnerError().get(), inner.get());
    EXPECT_STREQ(clone->what(), "m");
}

TEST(ErrorTest, TheCloneOutlivesAThrownError) {
    const P<CError> kept = converted([] { throw CError("It broke.", "d", 3); });
    EXPECT_EQ(kept->getMessage(), "It broke.");
    EXPECT_EQ(kept->getDomain(), "d");
    EXPECT_EQ(kept->getCode(), 3);
}

TEST(ErrorTest, ThrowsACloneOfItself) {
    const P<CError> kept = new CError("m", "d", 3, someProps());
    try {
        kept->throwClone();
    } catch (const CError& error) {
        EXPECT_EQ(typeid(error), typeid(CError));
        EXPECT_NE(&error, kept.get());
        EXPECT_EQ(error.getMessage(), "m");
        EXPECT_EQ(error.getProps().lookup("url"), "http://x/");
    }
}

TEST(ErrorTest, CarriesAnErrorToAnotherThread) {
    P<CError> kept;
    std::thread([&kept] { kept = converted([] { throw CInvalidArgError("Place::member", "bad"); }); }).join();
    EXPECT_THROW(kept->throwClone(), CInvalidArgError);
}

TEST(InvalidArgErrorTest, HasThePlaceApartFromTheMessage) {
    const CInvalidArgError error("CThing::setName", "name is empty", someProps());
    EXPECT_EQ(error.getPlace(), "CThing::setName");
    EXPECT_EQ(error.getMessage(), "name is empty");
    EXPECT_STREQ(error.what(), "CThing::setName: name is empty");
    EXPECT_EQ(error.getDomain(), "");
    EXPECT_EQ(error.getCode(), -1);
    EXPECT_EQ(error.getProps().lookup("url"), "http://x/");
    EXPECT_EQ(error.getInnerError(), nullptr);
    EXPECT_TRUE(CInvalidArgError("p", "m").getProps().isEmpty());
}

TEST(InvalidArgErrorTest, IsCaughtAsEachOfItsBases) {
    const auto work = [] { throw CInvalidArgError("p", "m"); };
    EXPECT_TRUE(throwsAs<CInvalidArgError>(work));
    EXPECT_TRUE(throwsAs<CError>(work));
    EXPECT_TRUE(throwsAs<std::exception>(work));
    EXPECT_TRUE(throwsAs<zet::CBase>(work));
    EXPECT_TRUE(throwsAs<zet::IBase>(work));
}

TEST(InvalidArgErrorTest, KeepsItsTypeInACloneAndWhenThrownAgain) {
    const CInvalidArgError error("p", "m", someProps());
    const CError& asBase = error;
    const P<CError> clone = asBase.clone();
    const auto typed = clone.dynamicCast<CInvalidArgError>();
    ASSERT_NE(typed, nullptr);
    EXPECT_EQ(typed->getPlace(), "p");
    EXPECT_EQ(typed->getMessage(), "m");
    EXPECT_EQ(typed->getProps().lookup("url"), "http://x/");
    try {
        clone->throwClone();
    } catch (const CInvalidArgError& thrown) {
        EXPECT_EQ(thrown.getPlace(), "p");
        return;
    }
    FAIL();
}

TEST(CurrentExceptionToErrorTest, KeepsTheTypeOfOurErrors) {
    const P<CError> error = converted([] { throw CInvalidArgError("p", "m"); });
    ASSERT_NE(error.dynamicCast<CInvalidArgError>(), nullptr);
    EXPECT_EQ(error.dynamicCast<CInvalidArgError>()->getPlace(), "p");
}

TEST(CurrentExceptionToErrorTest, TakesTheTextOfOtherExceptions) {
    const P<CError> error = converted([] { throw std::runtime_error("some \xC3\xA4 text"); });
    EXPECT_EQ(error->getMessage(), String(L"some \u00E4 text"));
    EXPECT_EQ(error->getDomain(), "");
    EXPECT_EQ(error->getCode(), -1);
    EXPECT_TRUE(error->getProps().isEmpty());
}

TEST(CurrentExceptionToErrorTest, AcceptsATextThatIsNotUTF8) {
    EXPECT_EQ(converted([] { throw std::runtime_error("a\xFFz"); })->getMessage(), String(L"a\uFFFDz"));
}

TEST(CurrentExceptionToErrorTest, CallsOtherThrownTypesUnknown) {
    EXPECT_EQ(converted([] { throw 5; })->getMessage(), "Unknown exception.");
    EXPECT_EQ(converted([] { throw "text"; })->getMessage(), "Unknown exception.");
}

TEST(CurrentExceptionToErrorTest, ReportsThatMemoryHasRunOut) {
    const P<CError> error = converted([] { throw std::bad_alloc(); });
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->getMessage(), "Out of memory.");
    EXPECT_EQ(converted([] { throw std::bad_array_new_length(); })->getMessage(), "Out of memory.");
}

class CErrorThatCannotBeCloned : public CError {
public:
    CErrorThatCannotBeCloned() : CError("original") {}
    P<CError> clone() const override { throw std::bad_alloc(); }
};

class CErrorWithABadClone : public CError {
public:
    explicit CErrorWithABadClone(std::function<P<CError>()> makeClone)
        : CError("original", "own", 7, CProps(), new CError("cause")), m_makeClone(std::move(makeClone)) {}
    P<CError> clone() const override { return m_makeClone(); }

private:
    std::function<P<CError>()> m_makeClone;
};

TEST(CurrentExceptionToErrorTest, KeepsThePartsOfAnErrorThatCannotBeCloned) {
    const std::function<P<CError>()> makers[] = {
        [] { return nullptr; }, []() -> P<CError> { throw CError("other"); }, []() -> P<CError> { throw 5; }};
    for (const auto& makeClone : makers) {
        const P<CError> error = converted([&] { throw CErrorWithABadClone(makeClone); });
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->getMessage(), "original");
        EXPECT_EQ(error->getDomain(), "own");
        EXPECT_EQ(error->getCode(), 7);
        EXPECT_EQ(error->getInnerError()->getMessage(), "cause");
    }
}

TEST(CurrentExceptionToErrorTest, NeverThrowsAndNeverGivesNull) {
    const P<CError> error = converted([] { throw CErrorThatCannotBeCloned(); });
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->getMessage(), "Out of memory.");
}

}  // namespace

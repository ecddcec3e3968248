// SPDX-License-Identifier: Apache-2.0
// Whose process it is, what is installed, and what a package's certificate grants.
#include <aul.h>
#include <cert-svc/ccert.h>
#include <gmock/gmock.h>
#include <package_manager.h>
#include <pkgmgr-info.h>

#include "device/configuration/CertificateFile.h"
#include "device/names/Bytes.h"
#include "tests/support/Process.h"
#include "tests/unit/device/DeviceDesk.h"

namespace {

constexpr char CertificateFolder[] = NAVO_DEVICE_DIR "/certificates/";
constexpr char Visibilities[] =
    "[visibility]\nplatform=31:35:A7:18:80:4C:3B:67:BB:C5:7A:69:83:AE:99:5C:AA:89:94:5F:1D:30:74:14:2E:91:2A:"
    "95:3A:E9:"
    "31:C3\npartner=9c292d88e270567af4e2924aef09e128782269461a91c8f1fe2732000e2dc770\n1088="
    "55139D78F26D4A5E8178A68C4B24"
    "EB14BE0635E30706F133EEEB69FFEF5EEFC3;\n";

class Packages : public DeviceDesk {
protected:
    // A process that waits until it is ended, with the given environment.
    class Child {
    public:
        explicit Child(const std::vector<std::string>& environment)
            : process({"/bin/cat"}, {folder.Path(), environment, "child"}) {
            // A program runs before the kernel shows its environment.
            const std::string shown = "/proc/" + std::to_string(process.Pid()) + "/environ";
            EXPECT_TRUE(Eventually([&shown] { return !ReadFile(shown).empty(); }));
        }

        pid_t Pid() const { return process.Pid(); }

    private:
        TemporaryFolder folder;
        Process process;
    };

    static std::string Ask(int (*function)(int, char*, int), int pid) {
        char buffer[255] = "";
        const int result = function(pid, buffer, sizeof buffer);
        return result == AUL_R_OK ? buffer : std::to_string(result);
    }

    static std::string PackageOf(int pid) {
        const std::string name = Ask(aul_app_get_pkgname_bypid, pid);
        EXPECT_EQ(Ask(aul_app_get_pkgid_bypid, pid), name);
        return name;
    }

    // The distributor's root as the package manager gives it; "(null)" for none.
    static std::string RootOf(const char* package) {
        pkgmgrinfo_certinfo_h handle = nullptr;
        EXPECT_EQ(pkgmgrinfo_pkginfo_create_certinfo(&handle), PMINFO_R_OK);
        EXPECT_EQ(pkgmgrinfo_pkginfo_load_certinfo(package, handle), PMINFO_R_OK);
        const char* value = "untouched";
        EXPECT_EQ(
            pkgmgrinfo_pkginfo_get_cert_value(handle, PMINFO_DISTRIBUTOR_ROOT_CERT, &value), PMINFO_R_OK);
        const std::string copy = value == nullptr ? "(null)" : value;
        EXPECT_EQ(pkgmgrinfo_pkginfo_destroy_certinfo(handle), PMINFO_R_OK);
        return copy;
    }

    // The visibility, or the negative result; a failure of either step is 0 or below.
    static int VisibilityOf(const std::string& text, CertSvcCertificateForm form = CERTSVC_FORM_DER_BASE64) {
        CertSvcInstance instance = {};
        EXPECT_EQ(certsvc_instance_new(&instance), CERTSVC_SUCCESS);
        CertSvcCertificate certificate = {};
        int visibility = 0;
        int result = certsvc_certificate_new_from_memory(
            instance, reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()),
            form, &certificate);
        if (result == CERTSVC_SUCCESS) {
            result = certsvc_certificate_get_visibility(certificate, &visibility);
            certsvc_certificate_free(certificate);
        }
        certsvc_instance_free(instance);
        return result == CERTSVC_SUCCESS ? visibility : result;
    }

    void ConfigureRoots() {
        std::string text = Visibilities;
        for (const char* level : {"platform", "partner", "public"}) {
            text += std::string("[package com.") + level + "]\ndistributor-root=" + CertificateFolder +
                    level + "-root.pem\n";
        }
        Configure(text);
    }
};

}  // namespace

TEST_F(Packages, AreKnownByTheExecutableOfAProcess) {
    Configure("[package com.example.cat]\nexecutables=/nowhere;/bin/cat\napplications=com.example.cat.app\n");
    const Child child({"NAVO_PACKAGE=com.example.other"});
    EXPECT_EQ(PackageOf(child.Pid()), "com.example.cat");
    EXPECT_EQ(Ask(aul_app_get_appid_bypid, child.Pid()), "com.example.cat.app");
    EXPECT_EQ(PackageOf(getpid()), std::to_string(AUL_R_ERROR));
}

TEST_F(Packages, AreKnownByTheirOwnExecutableThroughAnyLink) {
    std::filesystem::create_symlink("/proc/self/exe", folder.Path() / "link");
    Configure("[package com.example.self]\nexecutables=link\n");
    EXPECT_EQ(PackageOf(getpid()), "com.example.self");
    EXPECT_EQ(Ask(aul_app_get_appid_bypid, getpid()), std::to_string(AUL_R_ERROR));
}

TEST_F(Packages, AreKnownByTheEnvironmentWhereTheFileTrustsIt) {
    const Child child({"FIRST=1", "NAVO_PACKAGE=com.example.named", "LAST=2"});
    EXPECT_EQ(PackageOf(child.Pid()), std::to_string(AUL_R_ERROR));
    Configure("[packages]\ntrust-environment=true\n[package com.example.cat]\nexecutables=/bin/cat\n");
    EXPECT_EQ(PackageOf(child.Pid()), "com.example.named");
    const Child plain({"XNAVO_PACKAGE=com.example.wrong"});
    EXPECT_EQ(PackageOf(plain.Pid()), "com.example.cat");
}

TEST_F(Packages, AreKnownByTheOwnEnvironmentAsItIsNow) {
    Configure("[packages]\ntrust-environment=true\n");
    EXPECT_EQ(PackageOf(getpid()), std::to_string(AUL_R_ERROR));
    const Variable package("NAVO_PACKAGE", "com.example.now");
    EXPECT_EQ(PackageOf(getpid()), "com.example.now");
}

TEST_F(Packages, AreNotCutToASmallBuffer) {
    Configure("[package com.example.self]\nexecutables=/proc/self/exe\n");
    char buffer[17] = "";
    EXPECT_EQ(aul_app_get_pkgname_bypid(getpid(), buffer, 16), AUL_R_EINVAL);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(aul_app_get_pkgname_bypid(getpid(), buffer, 17), AUL_R_OK);
    EXPECT_STREQ(buffer, "com.example.self");
}

TEST_F(Packages, RefuseProcessesAndBuffersThatCannotBe) {
    char buffer[8];
    EXPECT_EQ(aul_app_get_pkgname_bypid(0, buffer, sizeof buffer), AUL_R_EINVAL);
    EXPECT_EQ(aul_app_get_pkgname_bypid(-1, buffer, sizeof buffer), AUL_R_EINVAL);
    EXPECT_EQ(aul_app_get_pkgname_bypid(getpid(), nullptr, 8), AUL_R_EINVAL);
    EXPECT_EQ(aul_app_get_appid_bypid(getpid(), buffer, 0), AUL_R_EINVAL);
    EXPECT_EQ(Ask(aul_app_get_pkgname_bypid, 0x7FFFFFFF), std::to_string(AUL_R_ERROR));
}

TEST_F(Packages, AreFoundByTheirApplications) {
    Configure(
        "[package com.a]\napplications=com.a.one;com.a.two\n[package com.b]\napplications=com.b.one;\n");
    char* package = nullptr;
    ASSERT_EQ(package_manager_get_package_id_by_app_id("com.a.two", &package), PACKAGE_MANAGER_ERROR_NONE);
    EXPECT_STREQ(package, "com.a");
    free(package);
    package = nullptr;
    EXPECT_EQ(
        package_manager_get_package_id_by_app_id("com.a", &package), PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE);
    EXPECT_EQ(
        package_manager_get_package_id_by_app_id(nullptr, &package), PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(package, nullptr);
}

TEST_F(Packages, HaveAVersionThatLivesAsLongAsTheirHandle) {
    Configure("[package com.a]\nversion=1.2.3\n[package com.b]\n");
    pkgmgrinfo_pkginfo_h handle = nullptr;
    ASSERT_EQ(pkgmgrinfo_pkginfo_get_pkginfo("com.a", &handle), PMINFO_R_OK);
    char* version = nullptr;
    ASSERT_EQ(pkgmgrinfo_pkginfo_get_version(handle, &version), PMINFO_R_OK);
    Configure("");
    EXPECT_STREQ(version, "1.2.3");
    EXPECT_EQ(pkgmgrinfo_pkginfo_destroy_pkginfo(handle), PMINFO_R_OK);
    EXPECT_EQ(pkgmgrinfo_pkginfo_destroy_pkginfo(handle), PMINFO_R_EINVAL);
    EXPECT_EQ(pkgmgrinfo_pkginfo_get_version(handle, &version), PMINFO_R_EINVAL);
}

TEST_F(Packages, FailForAVersionOrAPackageThatIsNotThere) {
    Configure("[package com.b]\n");
    pkgmgrinfo_pkginfo_h handle = nullptr;
    char* version = nullptr;
    EXPECT_EQ(pkgmgrinfo_pkginfo_get_pkginfo("com.a", &handle), PMINFO_R_ERROR);
    EXPECT_EQ(pkgmgrinfo_pkginfo_get_pkginfo("", &handle), PMINFO_R_EINVAL);
    ASSERT_EQ(pkgmgrinfo_pkginfo_get_pkginfo("com.b", &handle), PMINFO_R_OK);
    EXPECT_EQ(pkgmgrinfo_pkginfo_get_version(handle, &version), PMINFO_R_ERROR);
    EXPECT_EQ(pkgmgrinfo_pkginfo_destroy_pkginfo(handle), PMINFO_R_OK);
}

TEST_F(Packages, HaveTheirDistributorsRootAsBase64WithoutArmour) {
    ConfigureRoots();
    const std::string root = RootOf("com.platform");
    EXPECT_EQ(root.compare(0, 4, "MIIC"), 0);
    EXPECT_EQ(root.find_first_of("\n-"), std::string::npos);
    EXPECT_EQ(root, Device::CertificateText(std::string(CertificateFolder) + "platform-root.pem"));
}

TEST_F(Packages, WithoutACertificateHaveANullOrAnEmptyValue) {
    Configure("[package com.none]\n[package com.empty]\ndistributor-root=\n");
    EXPECT_EQ(RootOf("com.none"), "(null)");
    EXPECT_EQ(RootOf("com.empty"), "");
}

TEST_F(Packages, FailForCertificatesBeforeAPackageIsLoaded) {
    Configure("[package com.a]\n");
    pkgmgrinfo_certinfo_h handle = nullptr;
    const char* value = nullptr;
    ASSERT_EQ(pkgmgrinfo_pkginfo_create_certinfo(&handle), PMINFO_R_OK);
    EXPECT_EQ(
        pkgmgrinfo_pkginfo_get_cert_value(handle, PMINFO_DISTRIBUTOR_ROOT_CERT, &value), PMINFO_R_ERROR);
    EXPECT_EQ(pkgmgrinfo_pkginfo_load_certinfo("com.unknown", handle), PMINFO_R_ERROR);
    EXPECT_EQ(pkgmgrinfo_pkginfo_load_certinfo("", handle), PMINFO_R_EINVAL);
    EXPECT_EQ(pkgmgrinfo_pkginfo_load_certinfo(nullptr, handle), PMINFO_R_EINVAL);
    ASSERT_EQ(pkgmgrinfo_pkginfo_load_certinfo("com.a", handle), PMINFO_R_OK);
    EXPECT_EQ(
        pkgmgrinfo_pkginfo_get_cert_value(handle, static_cast<pkgmgrinfo_cert_type>(9), &value),
        PMINFO_R_EINVAL);
    EXPECT_EQ(pkgmgrinfo_pkginfo_destroy_certinfo(handle), PMINFO_R_OK);
    EXPECT_EQ(pkgmgrinfo_pkginfo_destroy_certinfo(handle), PMINFO_R_EINVAL);
    EXPECT_EQ(pkgmgrinfo_pkginfo_load_certinfo("com.a", handle), PMINFO_R_EINVAL);
}

TEST_F(Packages, HaveTheVisibilityOfTheirRoot) {
    ConfigureRoots();
    EXPECT_EQ(VisibilityOf(RootOf("com.platform")), CERTSVC_VISIBILITY_PLATFORM);
    EXPECT_EQ(VisibilityOf(RootOf("com.partner")), CERTSVC_VISIBILITY_PARTNER);
    EXPECT_EQ(VisibilityOf(RootOf("com.public")), 1088);
}

TEST_F(Packages, HaveNoVisibilityByARootThatIsNotListed) {
    ConfigureRoots();
    const std::string root = RootOf("com.platform");
    Configure("");
    EXPECT_EQ(VisibilityOf(root), CERTSVC_FAIL);
}

TEST_F(Packages, HaveTheSameVisibilityByTheBinaryFormOfTheRoot) {
    ConfigureRoots();
    const Device::Bytes der = Device::FromBase64(RootOf("com.platform"));
    EXPECT_EQ(
        VisibilityOf(std::string(der.begin(), der.end()), CERTSVC_FORM_DER), CERTSVC_VISIBILITY_PLATFORM);
}

TEST_F(Packages, RefuseWhatIsNoCertificate) {
    ConfigureRoots();
    const std::string root = RootOf("com.platform");
    for (const std::string& text :
         {std::string("?"), std::string("AAAA"), std::string("===="), std::string("A==="),
          std::string("AA=A"), root.substr(0, 400), root + root, root + "\n", std::string(4096, 'M')}) {
        EXPECT_EQ(VisibilityOf(text), CERTSVC_FAIL) << text.substr(0, 40);
    }
    EXPECT_EQ(VisibilityOf(""), CERTSVC_WRONG_ARGUMENT);
    EXPECT_EQ(VisibilityOf(root, CERTSVC_FORM_DER), CERTSVC_FAIL);
}

TEST_F(Packages, RefuseCertificatesOfAnInstanceThatIsGone) {
    ConfigureRoots();
    const std::string root = RootOf("com.platform");
    CertSvcInstance instance = {};
    CertSvcCertificate certificate = {};
    int visibility = 0;
    ASSERT_EQ(certsvc_instance_new(&instance), CERTSVC_SUCCESS);
    ASSERT_EQ(
        certsvc_certificate_new_from_memory(
            instance, reinterpret_cast<const unsigned char*>(root.data()), static_cast<int>(root.size()),
            CERTSVC_FORM_DER_BASE64, &certificate),
        CERTSVC_SUCCESS);
    certsvc_instance_free(instance);
    EXPECT_EQ(certsvc_certificate_get_visibility(certificate, &visibility), CERTSVC_WRONG_ARGUMENT);
    certsvc_certificate_free(certificate);
    certsvc_instance_free(instance);
    EXPECT_EQ(Device::OpenHandles(), 0U);
}

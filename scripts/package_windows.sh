#!/usr/bin/env bash
# Makes the packages for Windows: an MSI for Windows Installer and a zip of the same files.
#
#   scripts/package_windows.sh [--version N.N.N] [--to FOLDER]
#
# They land in build/packages, as tarn-scale-server-N.N.N-x64.msi and .zip, whose names it prints. The
# version is that of the project; another one is for the tests of upgrades, and stands in the MSI only.
set -euo pipefail
cd "$(dirname "$0")/.."

built=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
version=$built
target=build/packages
while [ $# -gt 0 ]; do
  case "$1" in
    --version) version=${2:?} && shift 2 ;;
    --to) target=${2:?} && shift 2 ;;
    *) sed -n '2,7s/^# \{0,1\}//p' "$0" >&2 && exit 2 ;;
  esac
done
case "$version" in
  *[!0-9.]* | '') echo "package_windows: '$version' is no version such as 1.2.3" >&2 && exit 2 ;;
esac

. scripts/packages.sh
need_packages "${BUILD_PACKAGES[@]}" "${WINDOWS_PACKAGES[@]}" "${WINDOWS_PACKAGING_PACKAGES[@]}"
mkdir -p build "$target"
{
  cmake --preset windows
  cmake --build --preset windows --target TarnSclServer tarnscale tarnsim registration_rows
} >build/package-windows.log 2>&1 || {
  tail -n 40 build/package-windows.log >&2
  exit 1
}

work=build/windows/package
files=$work/files
rm -rf $work
mkdir -p $files/docs
for program in TarnSclServer tarnscale tarnsim; do
  x86_64-w64-mingw32-strip -o $files/$program.exe build/windows/$program.exe
done
cp -r examples $files
rm $files/examples/CMakeLists.txt
# With them C++ clients are built without this source.
cp automation/TarnSclServer.idl build/windows/automation/generated/TarnSclServer{.h,_i.c} $files/examples
cp docs/*.md $files/docs
cp README.md $files
# Plain editors of Windows want CR LF.
find $files -type f ! -name '*.exe' -exec sed -i 's/\r*$/\r/' {} +

server=Z:${PWD//\//\\}\\build\\windows\\TarnSclServer.exe
tests/wine/run_under_wine.sh build/windows/registration_rows.exe "$server" \
  >$work/registration.wxs
(cd $files && find docs examples -type f | sort) |
  sed "s|^|$files/|" |
  wixl-heat --prefix $files/ --component-group Texts --directory-ref INSTALLDIR --var var.Files \
    --win64 >$work/texts.wxs

# A package is whole, or it is not there.
name=$work/tarn-scale-server-$version-x64
wixl -a x64 -D Version="$version" -D Files=$files -D Win64=yes -o "$name.msi" \
  scripts/windows_package.wxs $work/registration.wxs $work/texts.wxs
# What wixl 0.101 cannot say: the version before is removed first, and comes back when the new one fails;
# a package of the same version takes its place, too (512); a rollback runs only then (256 and 1024);
# what users and searches say reaches the part that has the rights; the programs have a version.
change() { # TABLE SED_COMMAND
  msiinfo export "$name.msi" "$1" >$work/table.idt
  sed -i "$2" $work/table.idt
  msibuild "$name.msi" -i $work/table.idt
}
tab=$'\t'
change InstallExecuteSequence "s/^\(RemoveExistingProducts$tab$tab\)[0-9]*/\11501/"
change Upgrade "s/1$tab\($tab*WIX_UPGRADE_DETECTED\)/513$tab\1/"
change CustomAction "s/^\(\w*Undo$tab\)[0-9]*/\13410/"
change Property \
  "s/^\(SecureCustomProperties$tab[A-Z_;]*\)/\1;FORMERDIR;INSTALLDIR;SERVICE;SERVICEHERE;WINDOWS10/"
change File "s/^\(\w*\.exe$tab.*\)$tab$tab\(${tab}512\)/\1$tab$built.0${tab}1033\2/"
(cd $files && zip -q -r -X - .) >"$name.zip"
mv "$name.msi" "$name.zip" "$target"
ls "$target/${name##*/}".{msi,zip}

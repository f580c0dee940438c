# The cloud disk view, its pickers and reload button; downloads go through the transfer queue.
if(NOT TARGET OrvTransfer)
    # The platform list does not name the transfer queue yet; build it from here until it does.
    add_subdirectory(${PROJECT_SOURCE_DIR}/platform/orvtransfer ${PROJECT_BINARY_DIR}/platform/orvtransfer)
endif()
set(_cloud ${CMAKE_CURRENT_LIST_DIR}/..)
target_sources(OrvCommon PRIVATE
    ${_cloud}/cloudstyle.cpp ${_cloud}/cloudstyle.h
    ${_cloud}/cloudpageaddress.cpp ${_cloud}/cloudpageaddress.h
    ${_cloud}/orvreloadbutton.cpp ${_cloud}/orvreloadbutton.h
    ${_cloud}/cloudfileselectbasewidget.cpp ${_cloud}/cloudfileselectbasewidget.h
    ${_cloud}/cloudfileselectwidget.cpp ${_cloud}/cloudfileselectwidget.h
    ${_cloud}/cloudfileselecttabbasewidget.cpp ${_cloud}/cloudfileselecttabbasewidget.h
    ${_cloud}/cloudtaskrcselectwidget.cpp ${_cloud}/cloudtaskrcselectwidget.h
    ${_cloud}/cloudtaskselectfileswidget.cpp ${_cloud}/cloudtaskselectfileswidget.h
    ${_cloud}/cloudfolderselectbasewidget.cpp ${_cloud}/cloudfolderselectbasewidget.h
    ${_cloud}/cloudfolderselectwidget.cpp ${_cloud}/cloudfolderselectwidget.h
    ${_cloud}/cloudtaskselectfolderwidget.cpp ${_cloud}/cloudtaskselectfolderwidget.h
    ${_cloud}/resources/clouddisk.qrc
)
# Helpers and interfaces of the cloud pages' bridges; the bridge folder's list names the shared ones.
set(_nb ${_cloud}/nativeBridge)
target_sources(OrvCommon PRIVATE
    ${_nb}/bridgeinput.cpp ${_nb}/bridgeinput.h
    ${_nb}/serverenvironment.cpp ${_nb}/serverenvironment.h
    ${_nb}/clouddownload.cpp ${_nb}/clouddownload.h
    ${_nb}/cloudfileselectwebbridge.cpp ${_nb}/cloudfileselectwebbridge.h
    ${_nb}/cloudfolderselectwebbridge.cpp ${_nb}/cloudfolderselectwebbridge.h
    ${_nb}/clouddiskbridge.cpp ${_nb}/clouddiskbridge.h
    ${_nb}/classroomclouddiskbridge.cpp ${_nb}/classroomclouddiskbridge.h
    ${_nb}/ipptmgr.h ${_nb}/icoursewareservice.h ${_nb}/idocumentservice.h ${_nb}/iupdater.h
)
if(NOT EXISTS ${_nb}/CMakeLists.txt)
    target_sources(OrvCommon PRIVATE ${_nb}/bridgedialogs.cpp ${_nb}/bridgedialogs.h
        ${_nb}/ifileopener.h ${_nb}/iimagepreviewservice.h ${_nb}/iclassroommgr.h)
    target_include_directories(OrvCommon PUBLIC ${_nb})
endif()
target_link_libraries(OrvCommon PUBLIC OrvTransfer OrvWeb OrvHttp)
target_sources(OrvCommon PRIVATE ${_cloud}/clouddiskwebview.cpp ${_cloud}/clouddiskwebview.h)

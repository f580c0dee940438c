# The cloud disk view, its pickers and reload button; downloads go through the transfer queue.
if(NOT TARGET OrvTransfer)
    # The platform list does not name the transfer queue yet; build it from here until it does.
    add_subdirectory(${PROJECT_SOURCE_DIR}/platform/orvtransfer ${PROJECT_BINARY_DIR}/platform/orvtransfer)
endif()
target_link_libraries(OrvCommon PUBLIC OrvTransfer)

# The video filer: events and the worker thread of the SDK's common folder, the module and its file
# objects.
target_sources(lxip_objects PRIVATE
  ${PROJECT_SOURCE_DIR}/lxsdkcommon/eventobject.cpp
  ${PROJECT_SOURCE_DIR}/lxsdkcommon/worker.cpp
)

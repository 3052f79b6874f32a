# The module descriptions and their resource ids.
set(LXAPI_RESOURCES
  104=${CMAKE_CURRENT_LIST_DIR}/lxedgeenhancementfilter.xml
  105=${CMAKE_CURRENT_LIST_DIR}/lxgammacorrectionfilter.xml
  109=${CMAKE_CURRENT_LIST_DIR}/lxpixelformatconverter.xml
  112=${CMAKE_CURRENT_LIST_DIR}/lxnoisereductionfilter.xml
)

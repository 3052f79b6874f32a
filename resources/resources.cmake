# The module descriptions and their resource ids.
set(LXAPI_RESOURCES
  104=${CMAKE_CURRENT_LIST_DIR}/lxedgeenhancementfilter.xml
  105=${CMAKE_CURRENT_LIST_DIR}/lxgammacorrectionfilter.xml
  108=${CMAKE_CURRENT_LIST_DIR}/lxbalanceratiofilter.xml
  109=${CMAKE_CURRENT_LIST_DIR}/lxpixelformatconverter.xml
  110=${CMAKE_CURRENT_LIST_DIR}/lxreverseconverter.xml
  111=${CMAKE_CURRENT_LIST_DIR}/lxcolortransformationfilter.xml
  112=${CMAKE_CURRENT_LIST_DIR}/lxnoisereductionfilter.xml
  113=${CMAKE_CURRENT_LIST_DIR}/lxflatfieldcorrectionfilter.xml
  114=${CMAKE_CURRENT_LIST_DIR}/lxchromasuppressionfilter.xml
  117=${CMAKE_CURRENT_LIST_DIR}/lxstillimagewriter.xml
  119=${CMAKE_CURRENT_LIST_DIR}/lxaviwriter.xml
  120=${CMAKE_CURRENT_LIST_DIR}/lxgraphdatafilter.xml
  121=${CMAKE_CURRENT_LIST_DIR}/lximageaveragingfilter.xml
  122=${CMAKE_CURRENT_LIST_DIR}/lxdefectivepixeldetectionfilter.xml
)
